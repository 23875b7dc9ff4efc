// Packet sockets on the port's device, and PPPoE frames (RFC 2516).
#include <arpa/inet.h>
#include <net/if_arp.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "netbase/cnetbase.h"
#include "netbase/link/checksum.h"
#include "netbase/link/etheraddr.h"
#include "netbase/support/bigendian.h"
#include "netbase/support/descriptor.h"

namespace {

// PPPoE frame:  version, type | code | session id (2) | length (2) | payload
constexpr size_t pppoe_header_size = 6;
constexpr unsigned char pppoe_version_type = 0x11;

void put_pppoe_header(unsigned char* p, int code, int session_id, int len) {
    p[0] = pppoe_version_type;
    p[1] = static_cast<unsigned char>(code & 0xFF);
    ka_put16(p + 2, static_cast<unsigned int>(session_id));
    ka_put16(p + 4, static_cast<unsigned int>(len));
}

}  // namespace

unsigned short CNetBase::u16CheckSum(const void* data, int len) {
    CChecksum sum;
    if (len > 0)
        sum.add(data, static_cast<size_t>(len));
    return sum.result();
}

sockaddr_ll CNetBase::linkAddress(int protocol, const unsigned char* hwaddr, bool broadcast) const {
    sockaddr_ll addr{};
    addr.sll_family = AF_PACKET;
    addr.sll_protocol = static_cast<uint16_t>(protocol);
    addr.sll_ifindex = static_cast<int>(getBindDevIface());
    addr.sll_hatype = ARPHRD_ETHER;
    addr.sll_pkttype = broadcast ? PACKET_BROADCAST : PACKET_HOST;
    addr.sll_halen = ether_addr_size;
    std::memcpy(addr.sll_addr, hwaddr, ether_addr_size);
    return addr;
}

int CNetBase::openEthPacket(int protocol, bool bind) {
    const sockaddr_ll local = linkAddress(protocol, getBindDevHWAddr(false), false);
    // One that is bound takes its protocol from there, or frames of other devices came in before.
    CDescriptor sock(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, bind ? 0 : protocol));
    if (!sock.isOpen())
        return -1;
    if (bind && ::bind(sock.get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0)
        return -1;
    return sock.release();
}

int CNetBase::sendPPPoEPacket(int sock, const char* dst_mac, int protocol, int code, int session_id,
                              const void* payload, int len) {
    if (sock <= 0 || dst_mac == nullptr || (payload == nullptr && len > 0) || len < 0)
        return -1;
    const auto* hwaddr = reinterpret_cast<const unsigned char*>(dst_mac);
    const bool broadcast = std::equal(ether_broadcast.begin(), ether_broadcast.end(), hwaddr);
    const sockaddr_ll dest = linkAddress(protocol, hwaddr, broadcast);

    const size_t size = static_cast<size_t>(len) + pppoe_header_size;
    const std::unique_ptr<unsigned char[]> frame(new (std::nothrow) unsigned char[size]());
    if (frame == nullptr)
        return -1;
    put_pppoe_header(frame.get(), code, session_id, len);
    if (len > 0)
        std::memcpy(frame.get() + pppoe_header_size, payload, static_cast<size_t>(len));
    sendto(sock, frame.get(), size, 0, reinterpret_cast<const sockaddr*>(&dest), sizeof(dest));
    return 0;
}
