#include "httptest/headtext.h"

#include <algorithm>
#include <cstring>

int httphd_find_tail(const char* buf, int len, const char** tail) {
    constexpr std::string_view end = "\r\n\r\n";
    std::string_view text(buf, len > 0 ? static_cast<size_t>(len) : 0);
    text = text.substr(0, text.find('\0'));
    const size_t at = text.find(end);
    const bool found = at != std::string_view::npos;
    if (tail != nullptr)
        *tail = found ? buf + at + end.size() : nullptr;
    return found ? 1 : 0;
}

char* httphd_get_line(const char* text, int len, const char** begin, const char** next) {
    constexpr std::string_view ends("\n\0", 2);
    const std::string_view rest(text, len > 0 ? static_cast<size_t>(len) : 0);
    size_t length = std::min(rest.find_first_of(ends), rest.size());
    size_t consumed = length;
    if (length < rest.size() && rest[length] == '\n') {
        ++consumed;
        if (length > 0 && rest[length - 1] == '\r')
            --length;
    }
    if (begin != nullptr)
        *begin = text;
    if (next != nullptr)
        *next = text + consumed;
    return strndup(text, length);
}

std::string_view httphd_next_token(std::string_view* rest, const char* separators) {
    rest->remove_prefix(std::min(rest->find_first_not_of(separators), rest->size()));
    if (rest->empty())
        return {};
    const std::string_view token = rest->substr(0, rest->find_first_of(separators));
    rest->remove_prefix(std::min(token.size() + 1, rest->size()));
    return token;
}

bool CTailFinder::find(const char* buffer, size_t fill, const char** tail) {
    const size_t from = m_seen - std::min<size_t>(m_seen, 3);
    const auto length = static_cast<int>(fill - from);
    const bool found = !m_ended && httphd_find_tail(buffer + from, length, tail) == 1;
    // A NUL byte ends the search for good.
    m_ended = m_ended || std::memchr(buffer + m_seen, '\0', fill - m_seen) != nullptr;
    m_seen = fill;
    return found;
}
