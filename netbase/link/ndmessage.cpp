#include "netbase/link/ndmessage.h"

#include <cstring>

namespace {

// Message:  0 type | 1 code | 2 checksum | 4 flags | 8 target (16) | 24 options
// Option:   0 type | 1 length in units of 8 bytes | 2 data
constexpr size_t target_at = 8;
constexpr size_t options_at = 24;
constexpr size_t option_header_size = 2;
constexpr size_t option_unit = 8;
static_assert(option_unit - option_header_size >= ether_addr_size);

constexpr unsigned char type_solicit = 135;
constexpr unsigned char type_advert = 136;
constexpr unsigned char option_source_link_addr = 1;
constexpr unsigned char option_target_link_addr = 2;

}  // namespace

NdSolicit ka_build_nd_solicit(const in6_addr& target, const EtherAddr& hwaddr) {
    NdSolicit msg{};
    msg[0] = type_solicit;
    std::memcpy(&msg[target_at], &target, sizeof(target));
    msg[options_at] = option_source_link_addr;
    msg[options_at + 1] = 1;
    std::memcpy(&msg[options_at + option_header_size], hwaddr.data(), hwaddr.size());
    return msg;
}

in6_addr ka_solicited_node(const in6_addr& target) {
    in6_addr addr{};
    addr.s6_addr[0] = 0xFF;
    addr.s6_addr[1] = 0x02;
    addr.s6_addr[11] = 0x01;
    addr.s6_addr[12] = 0xFF;
    std::memcpy(addr.s6_addr + 13, target.s6_addr + 13, 3);
    return addr;
}

bool ka_accept_nd_advert(const unsigned char* msg, size_t length, const in6_addr& target,
                         EtherAddr* hwaddr) {
    if (length < options_at)
        return false;
    if (msg[0] != type_advert || msg[1] != 0)
        return false;
    if (std::memcmp(msg + target_at, &target, sizeof(target)) != 0)
        return false;

    bool found = false;
    for (size_t at = options_at; length - at > 1;) {
        const size_t size = msg[at + 1] * option_unit;
        if (size == 0 || size > length - at)
            break;
        if (msg[at] == option_target_link_addr) {
            // One unit, the least there is, holds a whole Ethernet address.
            std::memcpy(hwaddr->data(), msg + at + option_header_size, hwaddr->size());
            found = true;
        }
        at += size;
    }
    return found;
}
