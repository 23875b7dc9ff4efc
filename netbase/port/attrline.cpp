#include "netbase/port/attrline.h"

#include <algorithm>

#include "netbase/support/textvalue.h"

namespace {

bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool is_key_char(char c) {
    return is_letter(c) || (c >= '0' && c <= '9');
}

void skip_blanks(std::string_view* rest) {
    rest->remove_prefix(std::min(rest->find_first_not_of(" \t"), rest->size()));
}

}  // namespace

bool ka_parse_attr_line(std::string_view line, std::string_view* key, std::string_view* value) {
    skip_blanks(&line);
    if (line.empty() || !is_letter(line.front()))
        return false;
    const auto key_end = std::find_if_not(line.begin(), line.end(), is_key_char);
    *key = line.substr(0, static_cast<size_t>(key_end - line.begin()));
    line.remove_prefix(key->size());

    skip_blanks(&line);
    if (line.empty() || (line.front() != '=' && line.front() != ':'))
        return false;
    line.remove_prefix(1);
    skip_blanks(&line);

    const bool quoted = !line.empty() && line.front() == '\'';
    if (quoted)
        line.remove_prefix(1);
    *value = ka_take_until(&line, quoted ? "'\r\n" : " \t\r\n");
    return !value->empty() && key->size() <= attr_text_max && value->size() <= attr_text_max;
}
