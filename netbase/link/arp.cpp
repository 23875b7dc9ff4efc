// Resolving IPv4 neighbours on the port's device.
#include <arpa/inet.h>
#include <net/ethernet.h>

#include <cstring>

#include "netbase/cnetbase.h"
#include "netbase/exitflag.h"
#include "netbase/link/arpframe.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/wait.h"

namespace {

constexpr int default_timeout = 1000000;

struct SReply {
    EtherAddr hwaddr;
    timeval when;
};

/// Waits for the reply of `target`. A failed wait ends it.
bool wait_reply(int sock, const in_addr& target, const CDeadline& deadline, SReply* reply) {
    timeval left;
    while (!g_bNetAppExitFlag && deadline.timeLeft(ka_now(), &left)) {
        const EWait waited = ka_wait(sock, POLLIN, &left);
        if (waited == EWait::failed || waited == EWait::interrupted)
            return false;
        ArpFrame packet;
        const ssize_t length =
            waited == EWait::ready ? recv(sock, packet.data(), packet.size(), MSG_DONTWAIT) : 0;
        if (length > 0 && ka_accept_arp_reply(packet.data(), static_cast<size_t>(length), target,
                                              &reply->hwaddr)) {
            reply->when = ka_now();
            return true;
        }
    }
    return false;
}

}  // namespace

int CNetBase::arpEthINET4(int timeout, const in_addr* target, void* hwaddr, timeval* delay) {
    if (hwaddr != nullptr)
        std::memset(hwaddr, 0, ether_addr_size);
    if (target == nullptr)
        return -1;
    timeval span;
    _usecs2timeval(timeout > 0 ? timeout : default_timeout, &span);
    const CDeadline deadline(span);

    const sockaddr_ll dest = linkAddress(htons(ETHERTYPE_ARP), ether_broadcast.data(), true);
    const CDescriptor sock(openEthPacket(htons(ETHERTYPE_ARP), true));
    if (!sock.isOpen())
        return -1;
    in_addr own{};
    getINET4Info(&own, nullptr, nullptr);
    EtherAddr own_hwaddr;
    std::memcpy(own_hwaddr.data(), getBindDevHWAddr(false), own_hwaddr.size());
    const ArpFrame request = ka_build_arp_request(own_hwaddr, own, *target);
    sendto(sock.get(), request.data(), request.size(), 0, reinterpret_cast<const sockaddr*>(&dest),
           sizeof(dest));
    const timeval sent = ka_now();

    SReply reply;
    if (!wait_reply(sock.get(), *target, deadline, &reply))
        return -1;
    if (hwaddr != nullptr)
        std::memcpy(hwaddr, reply.hwaddr.data(), reply.hwaddr.size());
    if (delay != nullptr)
        *delay = ka_tv_diff(reply.when, sent);
    return 0;
}

int CNetBase::arpEthINET4Target(int timeout, const in_addr* target, timeval* delay) {
    if (target == nullptr || target->s_addr == INADDR_ANY || target->s_addr == INADDR_BROADCAST)
        return -1;
    in_addr own{};
    in_addr mask{};
    in_addr gateway{};
    if (getINET4Info(&own, &mask, &gateway) != 0)
        return -1;
    if ((target->s_addr & mask.s_addr) == (own.s_addr & mask.s_addr))
        return arpEthINET4(timeout, target, nullptr, delay);
    if (gateway.s_addr == INADDR_ANY)
        return -1;
    return arpEthINET4(timeout, &gateway, nullptr, delay);
}
