// Text into fixed-size fields, and numbers out of foreign text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

/// Copies `text` into a fixed-size field, cut to what the field holds; the rest of the field
/// becomes NUL.
template <size_t N>
void ka_copy_text(char (&field)[N], std::string_view text) {
    const size_t length = text.copy(field, N - 1);
    std::memset(field + length, 0, N - length);
}

/// What people may be shown of foreign text at the start of `text`: a printable character of UTF-8
/// (RFC 3629), else nothing.
std::string_view ka_printable_char(std::string_view text);

/// Copies what is printable of `text`, with a "?" for every other byte, cut behind a whole
/// character.
template <size_t N>
void ka_copy_printable(char (&field)[N], std::string_view text) {
    size_t length = 0;
    while (!text.empty()) {
        std::string_view next = ka_printable_char(text);
        text.remove_prefix(next.empty() ? 1 : next.size());
        if (next.empty())
            next = "?";
        if (length + next.size() >= N)
            break;
        length += next.copy(field + length, N - 1 - length);
    }
    std::memset(field + length, 0, N - length);
}

/// Takes what precedes the first of `ends`, or all, off `rest`.
std::string_view ka_take_until(std::string_view* rest, std::string_view ends);

/// Reads a decimal integer at the start of `text` by atoi's rules (leading white space and a sign
/// allowed, the rest ignored), saturating at the limits of 64 bits. False, with `value` 0, when
/// there is no number.
bool ka_scan_number(std::string_view text, int64_t* value);

/// The number at the start of `text`; 0 when there is none.
int64_t ka_text_to_int64(std::string_view text);

/// The same, saturating at the limits of int.
int ka_text_to_int(std::string_view text);
