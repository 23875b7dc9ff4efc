// Host address lookup by the library's own DNS client.
#include <arpa/inet.h>

#include <cstring>

#include "netbase/cnetbase.h"
#include "netbase/dns/retryplan.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/trace.h"

namespace {

constexpr int first_timeout = 1000000;

void print_record(int family, const hostent& record) {
    for (int i = 0; record.h_aliases[i] != nullptr; ++i)
        ka_trace("got alias(%d) %s\n", i, record.h_aliases[i]);
    for (int i = 0; record.h_addr_list[i] != nullptr; ++i) {
        // The list may hold addresses of the other family: take no more than is there.
        in6_addr addr{};
        std::memcpy(&addr, record.h_addr_list[i], kadns_addr_length(record.h_addr_list[i]));
        char text[INET6_ADDRSTRLEN] = "";
        inet_ntop(family, &addr, text, sizeof(text));
        ka_trace("got address(%d) %s\n", i, text);
    }
}

/// The server of g_dns_addr; family 0 when that is no address.
CSockAddr inet4_server() {
    in_addr addr;
    const bool readable = inet_aton(g_dns_addr, &addr) != 0;
    if (!readable)
        addr.s_addr = INADDR_NONE;
    char text[INET_ADDRSTRLEN];
    CNetBase::writeINET4Addr(&addr, text);
    ka_trace("the dns_addr.s_addr is %s", text);
    return readable ? CSockAddr::inet4(addr, dns_port) : CSockAddr();
}

}  // namespace

CSockAddr CNetBase::portDnsServer(int family, bool first) const {
    if (family == AF_INET) {
        in_addr addr{};
        readConfINET4Addr(first ? "inet4_dns1" : "inet4_dns2", &addr);
        return addr.s_addr != INADDR_ANY ? CSockAddr::inet4(addr, dns_port) : CSockAddr();
    }
    in6_addr addr{};
    readConfINET6Addr(first ? "inet6_dns1" : "inet6_dns2", &addr);
    return !IN6_IS_ADDR_UNSPECIFIED(&addr) ? CSockAddr::inet6(addr, dns_port) : CSockAddr();
}

hostent* CNetBase::getHostAddr(int family, const char* name, hostent* out) {
    return kadns_retry(DNSREQ_TRYOUT, first_timeout, [&](bool first, int timeout) {
        return getHostAddr2(family, name, out, first, timeout);
    });
}

hostent* CNetBase::getHostAddr2(int family, const char* name, hostent* out, bool bUseDNS1,
                                int timeout) {
    static hostent local_hent;
    ka_trace("start(hostname=%s, bUseDNS1=%d) ...\n", name != nullptr ? name : "(null)",
             bUseDNS1 ? 1 : 0);
    KADNS_DBGPROTO = DNSRES_DBGLEVEL;
    if (name == nullptr || *name == '\0' || (family != AF_INET && family != AF_INET6))
        return nullptr;
    hostent* const record = out != nullptr ? out : &local_hent;
    *record = {};

    const CSockAddr server = family == AF_INET ? inet4_server() : portDnsServer(family, bUseDNS1);
    if (server.family() == 0)
        return nullptr;

    ka_trace("in getHostAddr2 6\n");
    const CDescriptor sock(openFamilySocket(family, SOCK_DGRAM));
    ka_trace("the fd_query_sock is %d\n", sock.get());
    if (!sock.isOpen() ||
        !kadns_exchange(kadns_send_query, family, sock.get(), name, server.get(), timeout, record))
        return nullptr;
    print_record(family, *record);
    return record;
}
