#include "measure/transferbuffer.h"

#include <string.h>

#include <cstdlib>

CTransferBuffer::~CTransferBuffer() {
    std::free(m_data);
}

bool CTransferBuffer::allocate(size_t size) {
    m_data = static_cast<char*>(std::malloc(size));
    if (m_data == nullptr)
        return false;
    // Compilers turn malloc and memset into calloc, which touches no page.
    explicit_bzero(m_data, size);
    m_size = size;
    return true;
}

bool CTransferBuffer::grow(size_t limit) {
    if (m_size > limit / 2)
        return false;
    auto* grown = static_cast<char*>(std::realloc(m_data, m_size * 2));
    if (grown == nullptr)
        return false;
    m_data = grown;
    m_size *= 2;
    return true;
}
