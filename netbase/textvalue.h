// Text into fixed-size fields, and numbers out of foreign text.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

/// Copies `text` into a fixed-size field, cut to what the field holds; the rest of the field
/// becomes NUL.
template <size_t N>
void ka_copy_text(char (&field)[N], std::string_view text) {
    const size_t length = text.copy(field, N - 1);
    std::memset(field + length, 0, N - length);
}

/// Reads a decimal integer at the start of `text` by atoi's rules (leading white space and a sign
/// allowed, the rest ignored), saturating at the limits of 64 bits. False, with `value` 0, when
/// there is no number or no text.
inline bool ka_scan_number(const char* text, int64_t* value) {
    *value = 0;
    if (text == nullptr)
        return false;
    char* end = nullptr;
    *value = std::strtoll(text, &end, 10);
    return end != text;
}

/// The same, saturating at the limits of int.
inline bool ka_scan_number(const char* text, int* value) {
    int64_t wide = 0;
    const bool found = ka_scan_number(text, &wide);
    *value = static_cast<int>(wide < INT_MIN ? INT_MIN : wide > INT_MAX ? INT_MAX : wide);
    return found;
}

/// The number at the start of `text`; 0 when there is none.
inline int64_t ka_text_to_int64(const char* text) {
    int64_t value = 0;
    ka_scan_number(text, &value);
    return value;
}

/// The same, saturating at the limits of int.
inline int ka_text_to_int(const char* text) {
    int value = 0;
    ka_scan_number(text, &value);
    return value;
}
