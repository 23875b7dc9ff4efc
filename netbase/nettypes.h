// The enumerations of the network library. Their texts, as the port control files spell them, are
// the business of the value codecs (netbase/port/valuecodecs.cpp).
#pragma once

/// State of one phase of a test. 0 means that the phase was not reached.
enum enet_step_type : int {
    NET_STEP_NONE = 0,
    NET_STEP_INIT = 1,
    NET_STEP_INPROGRESS = 2,
    NET_STEP_FAIL = 3,
    NET_STEP_PASS = 4,
};

/// PPP authentication protocol.
enum ePPP_auth_type : int {
    PPP_AUTH_UNKNOWN = 0,
    PPP_AUTH_PAP = 1,
    PPP_AUTH_CHAP = 2,
    PPP_AUTH_CHAP_AND_PAP = 3,
};

/// How a port reaches the network.
enum enet_proto_type : int {
    NET_PROTO_OFF = 0,
    NET_PROTO_PPP_PPPOE = 1,
    NET_PROTO_PPP_DIALUP = 2,
    NET_PROTO_INET4_STATIC = 3,
    NET_PROTO_INET4_DHCP = 4,
    NET_PROTO_INET6_STATIC = 5,
    NET_PROTO_INET6_AUTO = 6,
    NET_PROTO_INET6_DHCP = 7,
};

/// Type of a port's network device.
enum edev_type_type : int {
    DEV_TYPE_UNKNOWN = 0,
    DEV_TYPE_ETHER = 1,
};
