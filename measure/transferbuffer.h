// The heap buffer of a transfer.
#pragma once

#include <cstddef>

/// Zero-filled heap memory. Its pages take no memory before they are written to, which most of a
/// transfer's never are.
class CTransferBuffer {
  public:
    CTransferBuffer() = default;
    CTransferBuffer(const CTransferBuffer&) = delete;
    CTransferBuffer& operator=(const CTransferBuffer&) = delete;
    ~CTransferBuffer();

    /// Gives the empty buffer `size` bytes; false when memory is short.
    bool allocate(size_t size);
    /// Doubles the buffer up to `limit` bytes, keeping its content; false, and unchanged, beyond
    /// that and when memory is short. The new half is not cleared.
    bool grow(size_t limit);

    char* data() { return m_data; }
    size_t size() const { return m_size; }

  protected:
    char* m_data = nullptr;
    size_t m_size = 0;
};
