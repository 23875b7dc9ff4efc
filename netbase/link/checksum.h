// The Internet checksum (RFC 1071).
#pragma once

#include <cstddef>
#include <cstdint>

/// Adds up a checksum over one or more pieces; every piece but the last has an even length. The
/// words are summed as they lie in memory, so the result is stored back without swapping bytes, on
/// either byte order.
class CChecksum {
  public:
    void add(const void* data, size_t length);
    /// The one's complement of the sum.
    uint16_t result() const;

  protected:
    uint64_t m_sum = 0;
};
