// IPv4 and UDP headers (RFC 791, RFC 768), built.
#pragma once

#include <netinet/in.h>

#include <cstddef>

constexpr size_t ipv4_header_size = 20;
constexpr size_t udp_header_size = 8;

/// Writes the header of a packet with `length` bytes of payload, its checksum included. No options,
/// no fragmentation; of `ttl` and `protocol` the low 8 bits, of the total length the low 16.
void ka_put_ipv4_header(unsigned char* p, int ttl, int protocol, const in_addr& src,
                        const in_addr& dst, size_t length);

/// Completes the datagram at `p` whose payload of `length` bytes stands behind the header: writes
/// the header and then the checksum over pseudo header and datagram. The ports are in network byte
/// order. A checksum that comes out as 0 is stored as it is.
void ka_put_udp_header(unsigned char* p, const in_addr& src, const in_addr& dst, int src_port,
                       int dst_port, size_t length);
