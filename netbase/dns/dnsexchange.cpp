#include "netbase/dns/dnsexchange.h"

#include <array>
#include <cstdlib>

#include "netbase/dns/dnscodec.h"
#include "netbase/exitflag.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/clock.h"
#include "netbase/support/wait.h"

namespace {

using DnsMessage = std::array<unsigned char, dns_message_max>;

int send_query(int family, int qtype, int sock, const char* host, int id, const sockaddr* server) {
    DnsMessage query;
    const int length = kadns_fill_dnsquery(query.data(), dns_message_max, host, id, qtype);
    if (length < 1)
        return -1;
    const ssize_t sent = sendto(sock, query.data(), static_cast<size_t>(length), 0, server,
                                CSockAddr::lengthOf(family));
    return sent < 0 ? -1 : 0;
}

int address_query_type(int family) {
    return family == AF_INET ? DNS_TYPE_A : family == AF_INET6 ? DNS_TYPE_AAAA : 0;
}

}  // namespace

int kadns_send_query(int family, int sock, const char* host, int id, const sockaddr* server) {
    return send_query(family, address_query_type(family), sock, host, id, server);
}

int kadns_send_srv_query(int family, int sock, const char* host, int id, const sockaddr* server) {
    return send_query(family, DNS_TYPE_SRV, sock, host, id, server);
}

int kadns_recv_response(int family, int sock, int id, int timeout, hostent* out) {
    if (timeout < 0)
        return -1;
    timeval span;
    _usecs2timeval(timeout, &span);
    CDeadline deadline(span);
    DnsMessage response;
    timeval left;
    while (deadline.timeLeft(&left)) {
        const EWait waited = ka_wait(sock, POLLIN, &left);
        if (g_bNetAppExitFlag || waited == EWait::failed)
            return -1;
        // The datagram may be gone by now (a bad checksum), hence no blocking read.
        const ssize_t length =
            waited == EWait::ready ? recv(sock, response.data(), dns_message_max, MSG_DONTWAIT) : 0;
        if (length > 0 &&
            kadns_parse_dnsres(family, response.data(), static_cast<int>(length), id, out) == 0)
            return 0;
        if (g_bNetAppExitFlag)
            return -1;
    }
    return -1;
}

bool kadns_exchange(KadnsSend send, int family, int sock, const char* host, const sockaddr* server,
                    int timeout, hostent* record) {
    const int id = std::rand();  // NOLINT: unseeded, so that runs are alike
    if (g_bNetAppExitFlag || send(family, sock, host, id, server) != 0 || g_bNetAppExitFlag)
        return false;
    kadns_recv_response(family, sock, id, timeout, record);
    // The record tells more than the result: an accepted response may lack the question.
    const bool answered = record->h_name != nullptr && record->h_name[0] != '\0';
    if (!answered)
        *record = {};
    return answered;
}
