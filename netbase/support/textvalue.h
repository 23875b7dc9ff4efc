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
