// Sending IPv4 packets and UDP datagrams past the kernel's IP layer.
#include <arpa/inet.h>
#include <net/ethernet.h>

#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "netbase/cnetbase.h"
#include "netbase/link/etheraddr.h"
#include "netbase/link/ipv4frame.h"

namespace {

constexpr int arp_timeout = 2000000;

using CPacket = std::unique_ptr<unsigned char[]>;

/// A zeroed packet with the payload behind its header; null when memory is short.
CPacket new_packet(size_t header_size, const void* payload, int len) {
    const auto length = static_cast<size_t>(len);
    CPacket packet(new (std::nothrow) unsigned char[header_size + length]());
    if (packet != nullptr)
        std::memcpy(packet.get() + header_size, payload, length);
    return packet;
}

bool is_sendable(int sock, const in_addr* dst, const void* payload, int len) {
    return sock > 0 && dst != nullptr && dst->s_addr != INADDR_ANY && payload != nullptr && len > 0;
}

}  // namespace

int CNetBase::sendINET4Packet(int sock, int ttl, int protocol, const in_addr* dst,
                              const void* payload, int len) {
    if (!is_sendable(sock, dst, payload, len) || protocol <= 0)
        return -1;
    // All three stay 0.0.0.0 when they can't be read: every destination is then on the subnet.
    in_addr own{};
    in_addr mask{};
    in_addr gateway{};
    getINET4Info(&own, &mask, &gateway);

    const bool is_direct = dst->s_addr == INADDR_BROADCAST ||
                           (own.s_addr & mask.s_addr) == (dst->s_addr & mask.s_addr);
    const in_addr next_hop = is_direct ? *dst : gateway;
    const bool broadcast = next_hop.s_addr == INADDR_BROADCAST;
    if (next_hop.s_addr == INADDR_ANY)
        return -1;
    EtherAddr hwaddr = ether_broadcast;
    if (!broadcast && arpEthINET4(arp_timeout, &next_hop, hwaddr.data(), nullptr) != 0)
        return -1;
    const sockaddr_ll dest = linkAddress(htons(ETHERTYPE_IP), hwaddr.data(), broadcast);

    const CPacket packet = new_packet(ipv4_header_size, payload, len);
    if (packet == nullptr)
        return -1;
    const auto length = static_cast<size_t>(len);
    ka_put_ipv4_header(packet.get(), ttl, protocol, own, *dst, length);
    sendto(sock, packet.get(), length + ipv4_header_size, 0,
           reinterpret_cast<const sockaddr*>(&dest), sizeof(dest));
    return 0;
}

int CNetBase::sendUDPV4Packet(int sock, int ttl, const in_addr* dst, int src_port, int dst_port,
                              const void* payload, int len) {
    constexpr int header_size = udp_header_size;
    if (!is_sendable(sock, dst, payload, len) || len > INT_MAX - header_size)
        return -1;
    const CPacket datagram = new_packet(udp_header_size, payload, len);
    if (datagram == nullptr)
        return -1;
    in_addr own{};
    getINET4Info(&own, nullptr, nullptr);
    ka_put_udp_header(datagram.get(), own, *dst, src_port, dst_port, static_cast<size_t>(len));
    sendINET4Packet(sock, ttl, IPPROTO_UDP, dst, datagram.get(), len + header_size);
    return 0;
}
