// How many received bytes are worth waking up for.
#pragma once

#include <sys/time.h>

#include <array>
#include <cstdint>

/// Chooses between two ways of receiving a fast transfer: at every segment, or in batches, which
/// spare both sides the waking. Whether batches are faster depends on the machine and on the
/// sender's congestion control. So both ways are compared, window by window, and the better one is
/// taken; the comparison is repeated, less and less often while its outcome stays the same.
class CBatchRule {
  public:
    /// Takes note that `bytes` came until `now`. Returns the batch, in bytes, that is to be waited
    /// for next; 1 for no batch.
    int64_t follow(int64_t bytes, const timeval& now);
    /// No batch came in time: there is none until the current window ends.
    void giveUp() { m_batch = 1; }

  protected:
    void endWindow(int64_t rate);

    int64_t m_windowBytes = 0;
    timeval m_windowStart{};
    int64_t m_batch = 1;               ///< what the rate asks for
    bool m_inBatches = false;          ///< the way of the current window
    bool m_batchesWon = false;         ///< the way that is taken between comparisons
    std::array<int64_t, 2> m_rates{};  ///< bytes per millisecond of the last window of each way
    int m_windowsLeft = 1;             ///< until the other way is tried again
    int m_pause = 0;                   ///< windows between two trials
};
