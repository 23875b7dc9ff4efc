#include "measure/transferbuffer.h"

#include <cstdlib>

CTransferBuffer::~CTransferBuffer() {
    std::free(m_data);
}

bool CTransferBuffer::allocate(size_t size) {
    m_data = static_cast<char*>(std::calloc(size, 1));
    m_size = m_data != nullptr ? size : 0;
    return m_data != nullptr;
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
