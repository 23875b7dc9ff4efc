#include "netbase/link/arpframe.h"

#include <cstring>

#include "netbase/support/bigendian.h"

namespace {

// Offsets of the fields
constexpr size_t hardware_type = 0;
constexpr size_t protocol_type = 2;
constexpr size_t hardware_length = 4;
constexpr size_t protocol_length = 5;
constexpr size_t operation = 6;
constexpr size_t sender_hardware = 8;
constexpr size_t sender_protocol = 14;
constexpr size_t target_protocol = 24;

constexpr unsigned int type_ethernet = 1;
constexpr unsigned int type_ipv4 = 0x0800;
constexpr unsigned int op_request = 1;
constexpr unsigned int op_reply = 2;

}  // namespace

ArpFrame ka_build_arp_request(const EtherAddr& hwaddr, const in_addr& own, const in_addr& target) {
    ArpFrame frame{};  // the target hardware address stays zero
    unsigned char* p = frame.data();
    ka_put16(p + hardware_type, type_ethernet);
    ka_put16(p + protocol_type, type_ipv4);
    p[hardware_length] = ether_addr_size;
    p[protocol_length] = sizeof(in_addr);
    ka_put16(p + operation, op_request);
    std::memcpy(p + sender_hardware, hwaddr.data(), hwaddr.size());
    std::memcpy(p + sender_protocol, &own, sizeof(own));
    std::memcpy(p + target_protocol, &target, sizeof(target));
    return frame;
}

bool ka_accept_arp_reply(const unsigned char* packet, size_t length, const in_addr& target,
                         EtherAddr* hwaddr) {
    if (length < arp_frame_size)
        return false;
    if (ka_get16(packet + hardware_type) != type_ethernet)
        return false;
    if (ka_get16(packet + protocol_type) != type_ipv4)
        return false;
    if (ka_get16(packet + operation) != op_reply)
        return false;
    if (std::memcmp(packet + sender_protocol, &target, sizeof(target)) != 0)
        return false;
    std::memcpy(hwaddr->data(), packet + sender_hardware, hwaddr->size());
    return true;
}
