#include "app/liveline.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace {

/// Columns that a text may fill: the cursor stands behind it, or the terminal would go on to the
/// next line.
size_t terminal_columns() {
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return known ? size.ws_col - size_t{1} : 79;
}

/// The parts that fit whole; of the first, what fits.
std::string fit(const std::string& text, size_t columns) {
    if (text.size() <= columns)
        return text;
    const size_t comma = text.rfind(", ", columns);
    return text.substr(0, std::min(comma, columns));
}

}  // namespace

CLiveLine::CLiveLine() : m_isTerminal(isatty(STDERR_FILENO) == 1) {}

CLiveLine::~CLiveLine() {
    if (m_isTerminal)
        show("");
}

void CLiveLine::show(const std::string& text) {
    const std::string line = m_isTerminal ? fit(text, terminal_columns()) : text;
    if (line == m_shown)
        return;
    if (m_isTerminal) {
        const size_t blanks = m_shown.size() - std::min(m_shown.size(), line.size());
        fprintf(stderr, "\r%s%*s%s", line.c_str(), static_cast<int>(blanks), "",
                line.empty() ? "\r" : "");
    } else {
        fprintf(stderr, "%s\n", line.c_str());
    }
    m_shown = line;
}
