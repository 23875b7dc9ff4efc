#include "app/tracebuffer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

/// The index behind the first line feed from `from` on; the end when there is none.
size_t CTraceBuffer::lineEnd(size_t from) const {
    const auto* const end = m_text.data() + m_end;
    const auto* const found = std::find(m_text.data() + from, end, '\n');
    return static_cast<size_t>(found - m_text.data()) + (found != end ? 1 : 0);
}

void CTraceBuffer::moveToFront() {
    std::memmove(m_text.data() + gap_text_max, m_text.data() + m_begin, size());
    m_end = gap_text_max + size();
    m_begin = gap_text_max;
}

void CTraceBuffer::push(std::string_view text) {
    if (text.size() > m_text.size() - m_end)
        moveToFront();
    m_end += text.copy(m_text.data() + m_end, text.size());
}

std::string_view CTraceBuffer::front() {
    size_t end = m_end;
    if (m_lost > 0)
        end = m_isLineBegun ? lineEnd(m_begin) : m_begin;
    if (m_lost == 0 || end > m_begin)
        return {m_text.data() + m_begin, end - m_begin};
    const int length =
        snprintf(m_gapText.data(), m_gapText.size(), "%s[%zu bytes of traces left out here]\n",
                 m_isLineBegun ? "\n" : "", m_lost);
    return {m_gapText.data(), static_cast<size_t>(length)};
}

void CTraceBuffer::pop(size_t count) {
    const std::string_view all = front();
    const std::string_view written = all.substr(0, count);
    if (written.empty())
        return;
    m_isLineBegun = written.back() != '\n';
    if (all.data() != m_gapText.data()) {
        m_begin += count;
        return;
    }
    const std::string_view rest = all.substr(count);
    if (rest.size() > m_begin)
        moveToFront();
    m_begin -= rest.size();
    rest.copy(m_text.data() + m_begin, rest.size());
    m_lost = 0;
}

void CTraceBuffer::dropOldest(size_t needed) {
    size_t from = m_isLineBegun ? lineEnd(m_begin) : m_begin;
    if (needed > m_end - from)
        from = m_begin;
    const size_t to = lineEnd(std::min(from + needed - 1, m_end));
    const size_t kept = from - m_begin;
    std::memmove(m_text.data() + to - kept, m_text.data() + m_begin, kept);
    m_begin = to - kept;
    m_lost += to - from;
}
