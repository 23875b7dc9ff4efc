// One DNS exchange over a UDP socket that the caller has opened and closes.
#pragma once

#include <netdb.h>
#include <sys/socket.h>

/// Sends an address query (A for family 2, AAAA for family 10) with the low 16 bits of `id` to a
/// server. 0 when it was handed to the socket.
int kadns_send_query(int family, int sock, const char* host, int id, const sockaddr* server);

/// The same for a service query (SRV), whatever the family.
int kadns_send_srv_query(int family, int sock, const char* host, int id, const sockaddr* server);

/// Waits until a response with the identifier was accepted by kadns_parse_dnsres, for at most
/// `timeout` microseconds in all; other datagrams are dropped. Fails for a negative time-out, when
/// the time passed, the exit flag is raised, or the wait failed for another reason than a signal.
/// `out` (may be null) is zeroed by every datagram that is refused.
int kadns_recv_response(int family, int sock, int id, int timeout, hostent* out);

/// A query function of the above.
using KadnsSend = int (*)(int, int, const char*, int, const sockaddr*);

/// A whole exchange: sends a query with a new identifier from rand() and waits for its response.
/// True when one was accepted that echoes the question; `record` is zeroed when none was.
bool kadns_exchange(KadnsSend send, int family, int sock, const char* host, const sockaddr* server,
                    int timeout, hostent* record);
