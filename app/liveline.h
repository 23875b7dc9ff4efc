// The line that shows a running test.
#pragma once

#include <string>

/// On a terminal one line on standard error that is rewritten in place; elsewhere a line for each
/// change.
class CLiveLine {
  public:
    CLiveLine();
    CLiveLine(const CLiveLine&) = delete;
    CLiveLine& operator=(const CLiveLine&) = delete;
    /// Leaves the terminal's line empty.
    ~CLiveLine();

    bool isTerminal() const { return m_isTerminal; }
    /// Characters that a line may have. The cursor stands behind it, or the terminal would go on to
    /// the next line.
    size_t columns() const;
    void show(const std::string& line);

  protected:
    const bool m_isTerminal;
    std::string m_shown;
};
