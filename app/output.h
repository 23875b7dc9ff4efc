// Output that never blocks.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "netbase/support/descriptor.h"

/// Standard output or standard error, or what stands in for it, written to without ever waiting for
/// its reader.
class COutput {
  public:
    /// Files and the like are written to as they are, and sockets without waiting. A terminal or a
    /// pipe is opened again with a mode of its own, since others may use the description that this
    /// process was given. Where that is refused, a child process copies what is written.
    explicit COutput(int fd);
    COutput(const COutput&) = delete;
    COutput& operator=(const COutput&) = delete;
    /// Ends the child.
    ~COutput();

    /// Writes what is taken at once and returns how much that is. A text that nobody will ever take
    /// counts as taken.
    size_t write(std::string_view text);
    /// Waits until something can be written, at most so long; false if nothing can.
    bool wait(int64_t msecs) const;
    /// errno of a write that failed; 0 when none did.
    int failure() const { return m_failure; }
    /// True unless the child has not written yet what it was given.
    bool isDone();

  protected:
    void startCopier();

    CDescriptor m_own{-1};
    int m_fd;  ///< -1: nowhere
    bool m_isSocket = false;
    pid_t m_copier = -1;
    bool m_isBusy = false;  ///< the child has a piece
    int m_failure = 0;
};
