// Charts of the speed over time.
#pragma once

#include <string>
#include <vector>

#include "show/outcome.h"

/// Two lines: the scale, and one row of blocks of at most `columns` characters. Empty without
/// samples.
std::string chart_row(const std::vector<SSample>& samples, size_t columns, bool isUtf8);

/// A picture in SVG 1.1 with labelled axes; `title` is printable text.
std::string chart_picture(const std::vector<SSample>& samples, const std::string& title);
