#include "show/text.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>

#include "netbase/support/textvalue.h"

void append(std::string* text, const char* format, ...) {
    std::array<char, 1024> part;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(part.data(), part.size(), format, arguments);  // NOLINT: va_start has set them up
    va_end(arguments);
    *text += part.data();
}

void append_prefixed(std::string* text, int64_t value, const char* gap) {
    constexpr std::array<const char*, 5> prefixes = {"", "k", "M", "G", "T"};
    auto scaled = static_cast<double>(value);
    size_t i = 0;
    for (; scaled >= 1000 && i + 1 < prefixes.size(); ++i)
        scaled /= 1000;
    int decimals = scaled < 10 ? 2 : 1;
    if (i == 0 || scaled >= 100)
        decimals = 0;
    append(text, "%.*f%s%s", decimals, scaled, gap, prefixes.at(i));
}

int64_t to_bits(int64_t bytes_per_second) {
    return std::min(bytes_per_second, INT64_MAX / 8) * 8;
}

std::string printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const std::string_view next = ka_printable_char(text);
        shown += next.empty() ? std::string_view("?") : next;
        text.remove_prefix(std::max<size_t>(next.size(), 1));
    }
    return shown;
}
