#include "netbase/link/ipv4frame.h"

#include <array>
#include <cstring>

#include "netbase/link/checksum.h"
#include "netbase/support/bigendian.h"

// IPv4:  0 version, header length | 1 service | 2 total length | 4 identification | 6 fragment
//        8 ttl | 9 protocol | 10 checksum | 12 source | 16 destination
void ka_put_ipv4_header(unsigned char* p, int ttl, int protocol, const in_addr& src,
                        const in_addr& dst, size_t length) {
    std::memset(p, 0, ipv4_header_size);
    p[0] = 0x45;
    ka_put16(p + 2, static_cast<unsigned int>(length + ipv4_header_size));
    p[8] = static_cast<unsigned char>(ttl & 0xFF);
    p[9] = static_cast<unsigned char>(protocol & 0xFF);
    std::memcpy(p + 12, &src, sizeof(src));
    std::memcpy(p + 16, &dst, sizeof(dst));
    CChecksum sum;
    sum.add(p, ipv4_header_size);
    const uint16_t checksum = sum.result();
    std::memcpy(p + 10, &checksum, sizeof(checksum));
}

// UDP:     0 source port | 2 destination port | 4 length | 6 checksum
// Pseudo:  0 source | 4 destination | 8 zero | 9 protocol | 10 UDP length
void ka_put_udp_header(unsigned char* p, const in_addr& src, const in_addr& dst, int src_port,
                       int dst_port, size_t length) {
    const size_t size = length + udp_header_size;
    const auto from = static_cast<uint16_t>(src_port);
    const auto to = static_cast<uint16_t>(dst_port);
    std::memset(p, 0, udp_header_size);
    std::memcpy(p, &from, sizeof(from));
    std::memcpy(p + 2, &to, sizeof(to));
    ka_put16(p + 4, static_cast<unsigned int>(size));

    std::array<unsigned char, 12> pseudo{};
    std::memcpy(&pseudo[0], &src, sizeof(src));
    std::memcpy(&pseudo[4], &dst, sizeof(dst));
    pseudo[9] = IPPROTO_UDP;
    std::memcpy(&pseudo[10], p + 4, 2);
    CChecksum sum;
    sum.add(pseudo.data(), pseudo.size());
    sum.add(p, size);
    const uint16_t checksum = sum.result();
    std::memcpy(p + 6, &checksum, sizeof(checksum));
}
