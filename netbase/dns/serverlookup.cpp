// Service lookup: SRV records, and the addresses of the servers they name.
#include <algorithm>
#include <cstring>

#include "netbase/cnetbase.h"
#include "netbase/dns/retryplan.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/descriptor.h"

namespace {

constexpr int first_timeout = 5000000;
constexpr size_t list_size = dns_list_max + 1;

// The targets of the answer: every target lookup overwrites the parser's own storage.
char tmp_dns_alias_name[list_size][dns_name_size];
char* tmp_dns_alias_list[list_size];

// The merged result: entry k of one list belongs to entry k of the other.
hostent local_rslt;
char srv_dns_alias_name[list_size][dns_name_size];
char* srv_dns_alias_list[list_size];
char srv_dns_inet4_addr[list_size][sizeof(in_addr)];
char srv_dns_inet6_addr[list_size][sizeof(in6_addr)];
char* srv_dns_addr_list[list_size];

void keep_targets(char* const* aliases) {
    std::fill_n(tmp_dns_alias_list, list_size, nullptr);
    for (size_t i = 0; i < dns_list_max && aliases[i] != nullptr; ++i) {
        std::memcpy(tmp_dns_alias_name[i], aliases[i], dns_name_size);
        tmp_dns_alias_list[i] = tmp_dns_alias_name[i];
    }
}

void clear_result() {
    std::fill_n(srv_dns_alias_list, list_size, nullptr);
    std::fill_n(srv_dns_addr_list, list_size, nullptr);
    local_rslt = {};
    local_rslt.h_aliases = srv_dns_alias_list;
    local_rslt.h_addr_list = srv_dns_addr_list;
}

/// Adds one entry for each address of a target, as entries `count` and on; returns the new count.
size_t add_target(const char* target, const hostent& found, size_t count) {
    for (char** addr = found.h_addr_list; *addr != nullptr && count < dns_list_max; ++addr) {
        // An address of the other family has no place in the list.
        if (kadns_addr_length(*addr) != static_cast<size_t>(found.h_length))
            continue;
        char* slot =
            found.h_addrtype == AF_INET ? srv_dns_inet4_addr[count] : srv_dns_inet6_addr[count];
        std::memcpy(slot, *addr, static_cast<size_t>(found.h_length));
        std::memcpy(srv_dns_alias_name[count], target, dns_name_size);
        srv_dns_alias_list[count] = srv_dns_alias_name[count];
        srv_dns_addr_list[count] = slot;
        ++count;
    }
    return count;
}

}  // namespace

hostent* CNetBase::getHostSrv(int family, const char* name, hostent* out) {
    return kadns_retry(DNSREQ_TRYOUT, first_timeout, [&](bool first, int timeout) {
        return getHostSrv2(family, name, out, first, timeout);
    });
}

hostent* CNetBase::getHostSrv2(int family, const char* name, hostent* out, bool bUseDNS1,
                               int timeout) {
    static hostent local_hent;
    KADNS_DBGPROTO = DNSRES_DBGLEVEL;
    if (name == nullptr || *name == '\0')
        return nullptr;
    const bool connected = family == AF_INET    ? isINET4Connected() != 0
                           : family == AF_INET6 ? isINET6Connected() != 0
                                                : false;
    if (!connected)
        return nullptr;
    hostent* const record = out != nullptr ? out : &local_hent;
    *record = {};

    const CSockAddr server = portDnsServer(family, bUseDNS1);
    if (server.family() == 0 || isExecExit())
        return nullptr;
    const CDescriptor sock(openFamilySocket(family, SOCK_DGRAM));
    if (!sock.isOpen() || !kadns_exchange(kadns_send_srv_query, family, sock.get(), name,
                                          server.get(), timeout, record))
        return nullptr;
    if (record->h_aliases[0] == nullptr)
        return record;

    keep_targets(record->h_aliases);
    clear_result();
    size_t count = 0;
    for (char** target = tmp_dns_alias_list; *target != nullptr; ++target) {
        if (const hostent* found = getHostAddr(family, *target, nullptr); found != nullptr)
            count = add_target(*target, *found, count);
    }
    return &local_rslt;
}
