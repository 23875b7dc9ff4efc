// Helpers that format text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Appends as printf prints.
[[gnu::format(printf, 2, 3)]] void append(std::string* text, const char* format, ...);

/// A number of bits per second or bytes in three digits or four, with the prefix that goes with it
/// behind `gap`: "95.8 M".
void append_prefixed(std::string* text, int64_t value, const char* gap);

/// Bits per second of a speed in bytes per second, saturating.
int64_t to_bits(int64_t bytes_per_second);

/// The printable characters of a foreign text, "?" for all else.
std::string printable(std::string_view text);
