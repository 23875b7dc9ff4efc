// CNetBase, the root of every network object, and with what it includes the whole interface of the
// network library: enumerations, free functions and globals.
//
// An object is bound to one port of the device. The device's network driver publishes the port's
// configuration as small text files in the port control directory.
//
// Conventions, unless a function says otherwise: a result of 0 is success and -1 failure; failures
// print nothing; outputs are cleared before anything is checked, so that a failed call leaves empty
// texts and zero or any-addresses; IPv4 addresses are in network byte order; time-outs are
// microseconds; address families are plain ints, 2 (IPv4) and 10 (IPv6). One thread; nothing is
// locked.
#pragma once

#include <linux/if_packet.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdio>

#include "netbase/dns/dnscodec.h"
#include "netbase/dns/dnsexchange.h"
#include "netbase/exitflag.h"
#include "netbase/link/neighdisc.h"
#include "netbase/nettypes.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/clock.h"
#include "netbase/support/tmpname.h"
#include "netbase/support/wait.h"

/// IPv4 address text of the DNS server that the host lookup asks for IPv4 addresses; empty when
/// none was given.
extern char g_dns_addr[64];

class CNetBase {
  public:
    int m_iPort;            ///< port number
    unsigned int m_uFlags;  ///< flags word; stored only
    /// Name of the port's network device, possibly with an alias suffix (":N"); at most 15
    /// characters are usable. Empty after construction, which ties sockets to no device; a
    /// deployment that ties a port to a device fills it before it opens sockets.
    char m_szBindDevName[64];
    unsigned char m_BindDevHWAddr[64];  ///< hardware address in the first 6 bytes; zero: not read
    char m_szSysCtrlDir[256];           ///< port control directory, "/proc/sys/net/kanet/port-%d"
    edev_type_type m_eDevType;          ///< device type, read by init
    enet_proto_type m_eNetProtoType;    ///< how the port reaches the network, read by init
    char m_szProcName[256];             ///< process name that init sets; empty: left alone

    /// DNS query attempts; 0 or less means 5. Every constructor takes it from the environment
    /// variable of the same name when that holds a number.
    static int DNSREQ_TRYOUT;
    /// Debug levels: -1 at program start, 0 once an object was constructed.
    static int NETIPC_DBGLEVEL;
    static int ETHPACKET_DBGLEVEL;
    static int ADDRRES_DBGLEVEL;
    static int DNSRES_DBGLEVEL;

    /// Binds the object to a port. Touches no file; can't fail.
    CNetBase(int port, unsigned int flags);

    // Virtual operations; their order is part of the interface.

    virtual ~CNetBase();
    /// Sets the process name (15 characters of it) and reads device type and protocol type from the
    /// attribute files "dev-type" and "net-type"; what can't be read stays as it was. Prints the
    /// device name. Always 0.
    virtual int init();
    /// Hooks that do nothing here and return 0.
    virtual int saveStatus();
    virtual int debug();
    virtual int onMainLoop();
    virtual int eswitchAllowPort(bool allow);

    /// Hook for handing a measurement result on; does nothing and returns 0.
    int sendMeasResult(int type, int status, const void* result, int size);

    /// Raises the exit flag.
    static void exitExec();
    /// True when the exit flag is raised.
    static bool isExecExit();

    // Port control files. Attribute files hold lines of the form key='value', conf files one value.
    // Value outputs hold 128 bytes.

    /// Opens a file of the port control directory, for writing ("wb") when `write` is not 0, else
    /// for reading ("rb"). Null when the name is null, the path does not fit 255 characters, or the
    /// file can't be opened. The caller closes the stream.
    FILE* openSysCtrlFile(const char* name, int write) const;
    /// Writes one attribute line. Fails, writing nothing, when the stream is null or key or value
    /// is null, empty or longer than 127 characters.
    static int writeFileLine(FILE* f, const char* key, const char* value);
    /// Reads the next attribute line, passing over blank ones; `key` and `value` may be null. Fails
    /// at the end of the file and at a malformed line.
    static int readFileLine(FILE* f, char* key, char* value);
    /// Replaces the content of an attribute file by one line. A key or value that is refused leaves
    /// the old content.
    int writeSysCtrlAttr(const char* file, const char* key, const char* value) const;
    /// Finds the first line with the key and copies its value (`value` may be null). A malformed
    /// line before it ends the search.
    int readSysCtrlAttr(const char* file, const char* key, char* value) const;
    /// Replaces the content of a conf file by the value, which may be empty; one longer than 126
    /// characters is refused and leaves the old content.
    int writeSysCtrlConf(const char* file, const char* value) const;
    /// Copies the value of a conf file: its first 127 bytes, cut at the first CR and LF. An empty
    /// file is an empty value.
    int readSysCtrlConf(const char* file, char* value) const;

    // Value codecs. They never fail: a null output is left out, and text that is null or does not
    // parse reads as 0 or the any-address. Text outputs must hold the longest text of their kind
    // and its NUL.

    static void writeINET4Addr(const in_addr* addr, char* text);  ///< null: 0.0.0.0
    static void readINET4Addr(const char* text, in_addr* addr);
    static void writeINET6Addr(const in6_addr* addr, char* text);  ///< null: ::
    static void readINET6Addr(const char* text, in6_addr* addr);
    /// Six bytes as upper-case "%.2X" joined by ":"; null is written as all zero.
    static void writeMAC6Addr(const unsigned char* addr, char* text);
    /// Up to six hexadecimal fields joined by ":", the low 8 bits of each; missing ones are 0.
    static void readMAC6Addr(const char* text, unsigned char* addr);
    static void writeIntValue(int value, char* text);
    static void readIntValue(const char* text, int* value);
    static void writeBoolValue(int value, char* text);
    static void readBoolValue(const char* text, int* value);
    static void writeStatusType(enet_step_type value, char* text);
    static void readStatusType(const char* text, enet_step_type* value);
    static void writePPPAuthType(ePPP_auth_type value, char* text);
    static void readPPPAuthType(const char* text, ePPP_auth_type* value);
    static void writeNetprotoType(enet_proto_type value, char* text);
    static void readNetprotoType(const char* text, enet_proto_type* value);
    static void writeDeviceType(edev_type_type value, char* text);
    static void readDeviceType(const char* text, edev_type_type* value);

    // The bound device.

    /// m_szBindDevName; never null, may be empty.
    char* getBindDevName();
    /// Interface index of the device, its alias suffix removed; 0 when there is none.
    unsigned int getBindDevIface() const;
    /// The 6 bytes of the device's hardware address, always at the same place; all zero when it
    /// can't be read. The kernel is asked once, and again with `refresh`.
    const unsigned char* getBindDevHWAddr(bool refresh);
    /// The device's IPv4 address and netmask and the port's gateway ("inet4_gw"); each output may
    /// be null. Fails, all outputs 0.0.0.0, when one of the three can't be read; an unparsable
    /// gateway reads as 0.0.0.0. Prints the address on success.
    int getINET4Info(in_addr* addr, in_addr* mask, in_addr* gw);
    /// 1 when getINET4Info yields an address, else 0.
    int isINET4Connected();
    /// The device's first IPv6 address that is neither link-local nor site-local, its prefix length
    /// and the port's gateway ("inet6_gw"); each output may be null. Without such an address it
    /// fails, the gateway being stored all the same; without a gateway file all stay clear.
    int getINET6Info(in6_addr* addr, int* prefixlen, in6_addr* gw);
    /// 1 when getINET6Info yields an address, else 0.
    int isINET6Connected();

    // Sockets.

    /// Opens a socket of the type (SOCK_STREAM, ...) and protocol (0: default), tied to the port's
    /// device if it has one. A `port` above 0 binds it to the device's address, or to the
    /// any-address when that can't be read. The descriptor, which is the caller's to close, or -1.
    int openINET4Socket(int type, int protocol, int port);
    int openINET6Socket(int type, int protocol, int port);
    /// Connects a socket within `timeout` microseconds; a negative one means no limit. A refused or
    /// unreachable peer is reported at once. Either way the socket stays open, in the blocking mode
    /// it had; errno is as the failing call set it.
    int connectTCP(int sock, const sockaddr* addr, int timeout);

    // Raw frames. All need CAP_NET_RAW and a bound device name. What is sent or received through a
    // packet socket is the Ethernet payload: the kernel writes and strips the Ethernet header.

    /// The Internet checksum (RFC 1071) of `len` bytes, to be stored without swapping bytes.
    static unsigned short u16CheckSum(const void* data, int len);
    /// Opens a packet socket for an EtherType (network byte order); with `bind` it sees only the
    /// port's device. The descriptor, which is the caller's to close, or -1.
    int openEthPacket(int protocol, bool bind);
    /// Sends one PPPoE frame (RFC 2516) to a 6-byte hardware address; `protocol` is the EtherType
    /// in network byte order, `payload` may be null when `len` is 0. Fails for refused arguments
    /// and lack of memory only: a frame that the kernel does not take still counts as sent.
    int sendPPPoEPacket(int sock, const char* dst_mac, int protocol, int code, int session_id,
                        const void* payload, int len);
    /// Resolves an IPv4 neighbour by one ARP request (RFC 826). Waits `timeout` microseconds, 1 s
    /// for 0 or less. `hwaddr` (6 bytes) and `delay` (request to reply) may be null; a failure
    /// leaves the first zeroed and the second untouched.
    int arpEthINET4(int timeout, const in_addr* target, void* hwaddr, timeval* delay);
    /// Probes the next hop towards `target` by ARP: the target itself on the port's subnet, else
    /// the gateway. Fails, sending nothing, for 0.0.0.0, 255.255.255.255, a port whose addresses
    /// can't be read, and when a gateway is needed and there is none.
    int arpEthINET4Target(int timeout, const in_addr* target, timeval* delay);
    /// Sends one IPv4 packet (RFC 791) of its own making through a packet socket for EtherType
    /// 0x0800, to the hardware address that ARP finds for the next hop (2 s). Fails for refused
    /// arguments (`protocol` or `len` of 0 or less, a null pointer, no destination), a next hop
    /// that does not resolve, and lack of memory.
    int sendINET4Packet(int sock, int ttl, int protocol, const in_addr* dst, const void* payload,
                        int len);
    /// Sends one UDP datagram (RFC 768) through sendINET4Packet, whose outcome is not reported; the
    /// ports are in network byte order.
    int sendUDPV4Packet(int sock, int ttl, const in_addr* dst, int src_port, int dst_port,
                        const void* payload, int len);
    /// Resolves an IPv6 neighbour by one neighbour solicitation (RFC 4861) within `timeout`
    /// microseconds. `hwaddr` (6 bytes) and `delay` (solicitation to advertisement) may be null; a
    /// failure leaves both zeroed.
    int inet6ND_AddrRes(int timeout, const in6_addr* target, void* hwaddr, timeval* delay);

    // DNS lookups. The records they return, and all that these point to, are static storage that
    // the next lookup overwrites; callers copy what they keep and free nothing.

    /// Asks for the addresses of a name, A records for family 2 (server: g_dns_addr), AAAA records
    /// for family 10 (servers: "inet6_dns1", "inet6_dns2"). Each of DNSREQ_TRYOUT attempts asks the
    /// first server, then the second; the reply time-out is 1 s and doubles with every attempt.
    /// Always sends a query, even for an address literal. Returns `out`, or a static record when
    /// that is null. Its address list may be empty, or hold addresses of the other family too,
    /// which kadns_addr_length tells apart. Null on failure.
    hostent* getHostAddr(int family, const char* name, hostent* out);
    /// One exchange of getHostAddr, with the first or second server; `timeout` in microseconds.
    hostent* getHostAddr2(int family, const char* name, hostent* out, bool bUseDNS1, int timeout);
    /// Finds the servers of a service by an SRV query (servers: "inet4_dns1/2" or "inet6_dns1/2",
    /// by family; attempts as in getHostAddr, from 5 s on) and resolves every target with
    /// getHostAddr. Returns the merged record: entry k of its alias list names the target that
    /// entry k of its address list belongs to, and its h_name is null. When the answer named no
    /// target, returns the answer's own record (`out`), whose lists do not belong together and
    /// whose h_name is the name asked. Null on failure.
    hostent* getHostSrv(int family, const char* name, hostent* out);
    /// One exchange of getHostSrv, with the first or second server, and the merge.
    hostent* getHostSrv2(int family, const char* name, hostent* out, bool bUseDNS1, int timeout);

  protected:
    /// Asks the kernel about the bound device; false when it refuses.
    bool queryBindDev(unsigned long request, ifreq* answer) const;
    /// Opens a socket tied to the bound device.
    int openTiedSocket(int family, int type, int protocol) const;
    /// openINET4Socket or openINET6Socket with default protocol and no local port.
    int openFamilySocket(int family, int type);
    /// Connects a socket that was just opened; when that fails, or it was not opened, closes it and
    /// sets it to -1.
    int connectOrClose(int& sock, const CSockAddr& addr, int timeout);
    /// The path of a port control file; false when it does not fit.
    bool sysCtrlPath(const char* name, char (&path)[256]) const;
    /// The address that a conf file holds, the any-address when it holds none; fails when the file
    /// can't be read.
    int readConfINET4Addr(const char* file, in_addr* addr) const;
    int readConfINET6Addr(const char* file, in6_addr* addr) const;
    /// The DNS server that the port's settings name for a family; family 0 when they name none.
    CSockAddr portDnsServer(int family, bool first) const;
    /// The link-layer address of a peer on the bound device's Ethernet.
    sockaddr_ll linkAddress(int protocol, const unsigned char* hwaddr, bool broadcast) const;
};
