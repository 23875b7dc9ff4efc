#include "netbase/link/checksum.h"

#include <cstring>

void CChecksum::add(const void* data, size_t length) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (; length > 0; p += 2) {
        const size_t bytes = length >= 2 ? 2 : 1;
        uint16_t word = 0;
        std::memcpy(&word, p, bytes);
        m_sum += word;
        length -= bytes;
    }
}

uint16_t CChecksum::result() const {
    uint64_t sum = m_sum;
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(~sum & 0xFFFF);
}
