#include "netbase/support/textvalue.h"

#include <algorithm>
#include <climits>

namespace {

constexpr std::string_view white_space = " \t\n\v\f\r";

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

std::string_view ka_printable_char(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    if (text.empty())
        return {};
    const unsigned int lead = byte(0);
    if (lead < 0x80)
        return lead >= 0x20 && lead != 0x7F ? text.substr(0, 1) : std::string_view();
    const size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || size > text.size())
        return {};
    for (size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return {};
    }
    // Control characters, overlong forms, surrogates, beyond U+10FFFF.
    const unsigned int head = lead << 8 | byte(1);
    if ((head >= 0xC280 && head < 0xC2A0) || (head >= 0xE080 && head < 0xE0A0) ||
        (head >= 0xEDA0 && head < 0xEE00) || (head >= 0xF080 && head < 0xF090) || head >= 0xF490)
        return {};
    return text.substr(0, size);
}

std::string_view ka_take_until(std::string_view* rest, std::string_view ends) {
    const std::string_view taken = rest->substr(0, rest->find_first_of(ends));
    rest->remove_prefix(taken.size());
    return taken;
}

bool ka_scan_number(std::string_view text, int64_t* value) {
    *value = 0;
    text.remove_prefix(std::min(text.find_first_not_of(white_space), text.size()));
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+'))
        text.remove_prefix(1);
    const auto* const end = std::find_if_not(text.begin(), text.end(), is_digit);
    const int64_t limit = negative ? INT64_MIN : INT64_MAX;
    for (const auto* digit = text.begin(); digit != end && *value != limit; ++digit) {
        const int step = negative ? '0' - *digit : *digit - '0';
        if (__builtin_mul_overflow(*value, int64_t{10}, value) ||
            __builtin_add_overflow(*value, int64_t{step}, value))
            *value = limit;
    }
    return end != text.begin();
}

int64_t ka_text_to_int64(std::string_view text) {
    int64_t value = 0;
    ka_scan_number(text, &value);
    return value;
}

int ka_text_to_int(std::string_view text) {
    return static_cast<int>(std::clamp<int64_t>(ka_text_to_int64(text), INT_MIN, INT_MAX));
}
