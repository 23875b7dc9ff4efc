// The socket and the wait of IPv6 neighbour discovery (RFC 4861).
#pragma once

#include <netinet/in.h>
#include <sys/time.h>

/// Opens a raw ICMPv6 socket whose packets carry the hop limit `hops`. The descriptor, which is the
/// caller's to close, or a negative value; needs CAP_NET_RAW.
int sock_inet6_neighdisc(int hops);

/// Waits on `sock` for an advertisement for `target`, for at most `timeout`, receiving into `buf`
/// of `size` bytes; others, and those of another interface than the target's scope, are dropped.
/// `hwaddr` (6 bytes) becomes the neighbour's hardware address and `when` the clock at the
/// reception; both may be null and are zero after a failure. `debug` changes nothing.
int inet6_addrres_recvadv(int debug, unsigned char* buf, int size, int sock,
                          const sockaddr_in6* target, const timeval* timeout, unsigned char* hwaddr,
                          timeval* when);
