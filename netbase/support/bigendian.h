// Multi-byte fields in network byte order, put and got byte by byte: right on any byte order and
// any alignment.
#pragma once

#include <cstdint>

inline void ka_put16(unsigned char* p, unsigned int value) {
    p[0] = static_cast<unsigned char>(value >> 8 & 0xFF);
    p[1] = static_cast<unsigned char>(value & 0xFF);
}

inline unsigned int ka_get16(const unsigned char* p) {
    return static_cast<unsigned int>(p[0]) << 8 | p[1];
}
