// The line that shows a running test.
#pragma once

#include <string>

/// On a terminal one line on standard error that is rewritten in place, cut to the terminal's
/// width; elsewhere a line for each change.
class CLiveLine {
  public:
    CLiveLine();
    CLiveLine(const CLiveLine&) = delete;
    CLiveLine& operator=(const CLiveLine&) = delete;
    /// Leaves the terminal's line empty.
    ~CLiveLine();

    bool isTerminal() const { return m_isTerminal; }
    /// Shows a text whose parts, the less important behind, are joined by ", ".
    void show(const std::string& text);

  protected:
    const bool m_isTerminal;
    std::string m_shown;
};
