// The line that shows a running test.
#pragma once

#include <string>

#include "app/output.h"

/// On a terminal, one line on standard error that is rewritten in place; elsewhere a line each
/// time. Nothing is shown while standard error takes nothing.
class CLiveLine {
  public:
    CLiveLine();
    CLiveLine(const CLiveLine&) = delete;
    CLiveLine& operator=(const CLiveLine&) = delete;
    /// Leaves the terminal's line empty.
    ~CLiveLine();

    bool isTerminal() const { return m_isTerminal; }
    /// Characters that a line may have.
    size_t columns() const;
    void show(const std::string& line);

  protected:
    const bool m_isTerminal;
    COutput m_output;
    std::string m_shown;
};

/// Columns of the terminal behind a descriptor; 0 when it is none.
size_t terminal_columns(int fd);
