// The DNS message codec (RFC 1035): queries built, responses parsed into a host record. No input or
// output, and no allocation when parsing; plain UDP messages of at most 512 bytes.
#pragma once

#include <netdb.h>

#include <cstddef>

constexpr int dns_port = 53;

/// Longest DNS message over plain UDP.
constexpr int dns_message_max = 512;

/// Most aliases and most addresses that a host record lists; each list ends with a null pointer.
constexpr size_t dns_list_max = 15;

/// Bytes of a host name with its NUL.
constexpr size_t dns_name_size = 256;

/// Query types.
enum : int { DNS_TYPE_A = 1, DNS_TYPE_CNAME = 5, DNS_TYPE_AAAA = 28, DNS_TYPE_SRV = 33 };

/// Debug level of the codec, which prints nothing at any level. The lookups set it.
extern int KADNS_DBGPROTO;

/// Encodes a dotted name as labels in lower case, ended by the root label; an empty label ends the
/// name. `out` must hold strlen(host) + 2 bytes. Returns the bytes written, or -1 for a label of
/// more than 63 bytes.
int hostname2dnsname(const char* host, char* out);

/// Decodes the name at `src` in the message at `msg`, compressed or not, into dotted text in `dst`
/// (256 bytes). The message is taken to be 512 bytes long. Returns the bytes that the name takes at
/// `src`, or -1 when it is malformed, does not fit, or its pointers do not end.
int dnsname2hostname(const unsigned char* src, char* dst, const char* msg);

/// Builds a query of type `qtype` for `host` into `buf` of `size` bytes, with the low 16 bits of
/// `id`. Returns its length, or -1; `buf` is undefined then.
int kadns_fill_dnsquery(void* buf, int size, const char* host, int id, int qtype);

/// Parses a response of `len` bytes whose identifier must be the low 16 bits of `id`. `out` may be
/// null; it is zeroed first and filled only by an accepted response: the name asked, the targets of
/// CNAME and SRV records as aliases, the addresses of A and AAAA records whatever `family` is,
/// which sets address type and length only. What it points to is static storage that the next parse
/// overwrites. The response's QR, TC and RCODE are not examined.
int kadns_parse_dnsres(int family, const unsigned char* msg, int len, int id, hostent* out);

/// The length of an entry of a parsed record's address list: 16 for an IPv6 address, else 4. A list
/// can hold both kinds.
size_t kadns_addr_length(const char* entry);
