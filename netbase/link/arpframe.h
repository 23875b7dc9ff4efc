// ARP packets for IPv4 over Ethernet (RFC 826), built and judged.
#pragma once

#include <netinet/in.h>

#include <array>
#include <cstddef>

#include "netbase/link/etheraddr.h"

constexpr size_t arp_frame_size = 28;

using ArpFrame = std::array<unsigned char, arp_frame_size>;

/// The request of the owner of `hwaddr` and `own` for the hardware address of `target`.
ArpFrame ka_build_arp_request(const EtherAddr& hwaddr, const in_addr& own, const in_addr& target);

/// True when the packet is a reply from `target`; `hwaddr` becomes its hardware address then.
bool ka_accept_arp_reply(const unsigned char* packet, size_t length, const in_addr& target,
                         EtherAddr* hwaddr);
