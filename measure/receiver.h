// The receiving side of a transfer.
#pragma once

#include <poll.h>
#include <sys/time.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "netbase/support/wait.h"

/// Receives from a socket, either for somebody who looks at the bytes or just to count them.
///
/// Bytes that only count are dropped by the kernel (MSG_TRUNC, tcp(7)) instead of being copied, and
/// a fast transfer wakes the receiver for a batch instead of for every segment (SO_RCVLOWAT), which
/// spares both sides the waking. What that brings hangs on the machine and on how the sender's
/// kernel doses its segments: it also makes ours acknowledge each of them. So both ways are
/// compared, window by window, and the better one is taken.
class CReceiver {
  public:
    enum class EUse { keep, count };

    /// The buffer stays the caller's. Kernels and emulators that drop nothing store in it what only
    /// counts, too.
    CReceiver(int sock, char* buffer, size_t size, EUse use);

    int socket() const { return m_sock; }

    /// As ka_wait, for a set that holds the socket. Less than a batch is waited for some
    /// milliseconds longer at most.
    EWait wait(pollfd* fds, nfds_t count, const timeval& timeout);

    /// Takes what has come, at most what the buffer holds; the result is that of a recv that does
    /// not wait.
    ssize_t take();

    /// Sets the next batch from the rate of late: `taken` bytes came until `now`, and `missing` are
    /// still to come (negative: not known), which no batch exceeds.
    void follow(ssize_t taken, const timeval& now, int64_t missing);

  protected:
    ssize_t takeOnTrial();
    void endWindow(int64_t rate);
    void setMark(int mark);

    int m_sock;
    char* m_buffer;
    size_t m_size;
    enum class EDrop { untried, works, fails } m_drop;
    int m_mark = 1;       ///< bytes that wake the receiver
    int64_t m_batch = 1;  ///< what the rate asks for
    int64_t m_windowBytes = 0;
    timeval m_windowStart{};
    bool m_inBatches = false;          ///< the way of the current window
    bool m_batchesWon = false;         ///< the way that is taken between comparisons
    std::array<int64_t, 2> m_rates{};  ///< bytes per millisecond of the last window of each way
    int m_windowsLeft = 1;             ///< until the other way is tried again
    int m_pause;                       ///< windows between two trials
};
