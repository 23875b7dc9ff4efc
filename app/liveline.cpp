#include "app/liveline.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

CLiveLine::CLiveLine() : m_isTerminal(isatty(STDERR_FILENO) == 1) {}

CLiveLine::~CLiveLine() {
    if (m_isTerminal)
        show("");
}

size_t CLiveLine::columns() const {
    if (!m_isTerminal)
        return std::string::npos;
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return known ? size.ws_col - size_t{1} : 79;
}

void CLiveLine::show(const std::string& line) {
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
