// The sending side of a transfer.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

/// Sends on a TCP socket in passes that are short enough for samples on time.
class CSender {
  public:
    /// A send waits at most `usecs` microseconds, and at most a tenth of a second.
    CSender(int sock, int usecs);

    /// Sends what is taken within that time. Returns how much that was, or -1, with errno EAGAIN
    /// when it was nothing.
    ssize_t send(const char* data, size_t size) const;

    /// Bytes that were taken and that the peer's kernel has not acknowledged yet (SIOCOUTQ,
    /// tcp(7)).
    int64_t pending() const;

  protected:
    int m_sock;
};
