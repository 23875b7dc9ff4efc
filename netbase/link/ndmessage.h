// Neighbour discovery messages (RFC 4861), built and judged.
#pragma once

#include <netinet/in.h>

#include <array>
#include <cstddef>

#include "netbase/link/etheraddr.h"

constexpr size_t nd_solicit_size = 32;

using NdSolicit = std::array<unsigned char, nd_solicit_size>;

/// The ICMPv6 part of a neighbour solicitation for `target`, with the sender's hardware address.
/// The checksum is the kernel's.
NdSolicit ka_build_nd_solicit(const in6_addr& target, const EtherAddr& hwaddr);

/// The solicited-node multicast address of `target`.
in6_addr ka_solicited_node(const in6_addr& target);

/// True when the message, without its IPv6 header, is a neighbour advertisement for `target` with a
/// target link-layer address; `hwaddr` becomes the first 6 bytes of the last such option.
bool ka_accept_nd_advert(const unsigned char* msg, size_t length, const in6_addr& target,
                         EtherAddr* hwaddr);
