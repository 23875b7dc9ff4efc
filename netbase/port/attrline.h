// The attribute line of a port control file: key = 'value', taken apart.
#pragma once

#include <cstddef>
#include <string_view>

/// Longest key and longest value.
constexpr size_t attr_text_max = 127;

/// Takes one line apart: blanks, a key of letters, digits and "_", a "=" or ":" between blanks, and
/// the value, in single quotes (the closing one may be missing) or up to the next blank. Either
/// value also ends at CR or LF; what follows it is ignored. False for a malformed line: no key, no
/// separator, an empty value, or one of them too long. The results point into `line`.
bool ka_parse_attr_line(std::string_view line, std::string_view* key, std::string_view* value);
