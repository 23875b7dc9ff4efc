#include "netbase/link/neighdisc.h"

#include <netinet/icmp6.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "netbase/cnetbase.h"
#include "netbase/exitflag.h"
#include "netbase/link/ndmessage.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/wait.h"

namespace {

constexpr int nd_hop_limit = 255;
constexpr size_t message_max = 1460;

/// Rests after a failed wait, which is tried again but must not spin.
void rest_a_little(const timeval& left) {
    timeval pause{0, 10000};
    if (ka_tv_later(pause, left))
        pause = left;
    ka_wait(nullptr, 0, &pause);
}

}  // namespace

int sock_inet6_neighdisc(int hops) {
    const int sock = socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMPV6);
    if (sock < 0)
        return sock;
    const int on = 1;
    setsockopt(sock, SOL_SOCKET, SO_DONTROUTE, &on, sizeof(on));
    setsockopt(sock, IPPROTO_IPV6, IPV6_MULTICAST_HOPS, &hops, sizeof(hops));
    setsockopt(sock, IPPROTO_IPV6, IPV6_UNICAST_HOPS, &hops, sizeof(hops));
    setsockopt(sock, IPPROTO_IPV6, IPV6_RECVHOPLIMIT, &on, sizeof(on));
    return sock;
}

int inet6_addrres_recvadv(int /*debug*/, unsigned char* buf, int size, int sock,
                          const sockaddr_in6* target, const timeval* timeout, unsigned char* hwaddr,
                          timeval* when) {
    if (hwaddr != nullptr)
        std::memset(hwaddr, 0, ether_addr_size);
    if (when != nullptr)
        *when = {};
    CDeadline deadline(*timeout);

    timeval left;
    while (!g_bNetAppExitFlag && deadline.timeLeft(&left)) {
        const EWait waited = ka_wait(sock, POLLIN, &left);
        if (waited == EWait::failed)
            rest_a_little(left);
        if (waited != EWait::ready)
            continue;
        sockaddr_in6 source{};
        socklen_t source_length = sizeof(source);
        const ssize_t length = recvfrom(sock, buf, static_cast<size_t>(size), MSG_DONTWAIT,
                                        reinterpret_cast<sockaddr*>(&source), &source_length);
        const timeval received = ka_now();
        if (length < 0)
            continue;
        if (source.sin6_scope_id != 0 && source.sin6_scope_id != target->sin6_scope_id)
            continue;
        EtherAddr found;
        if (!ka_accept_nd_advert(buf, static_cast<size_t>(length), target->sin6_addr, &found))
            continue;
        if (hwaddr != nullptr)
            std::memcpy(hwaddr, found.data(), found.size());
        if (when != nullptr)
            *when = received;
        return 0;
    }
    return -1;
}

int CNetBase::inet6ND_AddrRes(int timeout, const in6_addr* target, void* hwaddr, timeval* delay) {
    if (hwaddr != nullptr)
        std::memset(hwaddr, 0, ether_addr_size);
    if (delay != nullptr)
        *delay = {};
    if (target == nullptr)
        return -1;

    const CDescriptor sock(sock_inet6_neighdisc(nd_hop_limit));
    if (!sock.isOpen())
        return -1;
    icmp6_filter filter;
    ICMP6_FILTER_SETBLOCKALL(&filter);
    ICMP6_FILTER_SETPASS(ND_NEIGHBOR_ADVERT, &filter);
    setsockopt(sock.get(), IPPROTO_ICMPV6, ICMP6_FILTER, &filter, sizeof(filter));

    const unsigned int iface = getBindDevIface();
    EtherAddr own_hwaddr;
    std::memcpy(own_hwaddr.data(), getBindDevHWAddr(false), own_hwaddr.size());
    const NdSolicit solicit = ka_build_nd_solicit(*target, own_hwaddr);
    const CSockAddr dest = CSockAddr::inet6(ka_solicited_node(*target), 0, iface);
    const timeval span{timeout / 1000000, timeout % 1000000};

    const timeval sent = ka_now();
    if (sendto(sock.get(), solicit.data(), solicit.size(), 0, dest.get(), dest.length()) !=
        static_cast<ssize_t>(solicit.size()))
        return -1;
    sockaddr_in6 neighbour{};
    neighbour.sin6_family = AF_INET6;
    neighbour.sin6_addr = *target;
    neighbour.sin6_scope_id = iface;
    std::array<unsigned char, message_max> buffer;
    EtherAddr found;
    timeval received;
    if (inet6_addrres_recvadv(ADDRRES_DBGLEVEL, buffer.data(), static_cast<int>(buffer.size()),
                              sock.get(), &neighbour, &span, found.data(), &received) != 0)
        return -1;
    if (hwaddr != nullptr)
        std::memcpy(hwaddr, found.data(), found.size());
    if (delay != nullptr)
        *delay = ka_tv_diff(received, sent);
    return 0;
}
