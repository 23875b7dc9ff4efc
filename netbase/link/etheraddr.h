// Ethernet hardware addresses.
#pragma once

#include <array>
#include <cstddef>

constexpr size_t ether_addr_size = 6;

using EtherAddr = std::array<unsigned char, ether_addr_size>;

constexpr EtherAddr ether_broadcast = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
