#include "show/liveline.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace {

/// False also for terminals that just print what they get.
bool can_rewrite_lines() {
    const char* terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) == 1 && terminal != nullptr &&
           terminal != std::string_view("dumb");
}

}  // namespace

size_t terminal_columns(int fd) {
    winsize size{};
    if (isatty(fd) != 1)
        return 0;
    return ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

CLiveLine::CLiveLine() : m_isTerminal(can_rewrite_lines()), m_output(STDERR_FILENO) {}

CLiveLine::~CLiveLine() {
    if (m_isTerminal)
        show("");
}

size_t CLiveLine::columns() const {
    return m_isTerminal ? terminal_columns(STDERR_FILENO) - 1 : std::string::npos;
}

void CLiveLine::show(const std::string& line) {
    if (line == m_shown)
        return;
    // The cursor rests at the line's beginning. There it also finds the beginning of a line that a
    // narrower window has wrapped, and what is below it is erased.
    const std::string text = m_isTerminal ? "\r" + line + "\033[J\r" : line + "\n";
    if (m_output.write(text) > 0)
        m_shown = line;
}
