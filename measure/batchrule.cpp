#include "measure/batchrule.h"

#include <algorithm>

#include "netbase/support/clock.h"

namespace {

/// The rate is measured in windows of this length.
constexpr int64_t window_usecs = 8000;
constexpr int64_t batches_per_msec = 2;
constexpr int64_t batch_min = 16384;
constexpr int64_t batch_max = 524288;

/// Batches may be this much slower, since they cost less CPU time.
constexpr int loss_percent = 3;

/// Windows from one comparison to the next; more while its outcome stays the same.
constexpr int pause_min = 8;
constexpr int pause_max = 64;

/// A power of two within the limits; 1 below them.
int64_t batch_for(int64_t bytes) {
    if (bytes < batch_min)
        return 1;
    int64_t batch = batch_min;
    while (batch < batch_max && batch * 2 <= bytes)
        batch *= 2;
    return batch;
}

}  // namespace

int64_t CBatchRule::follow(int64_t bytes, const timeval& now) {
    if (!ka_tv_isset(m_windowStart))
        m_windowStart = now;
    m_windowBytes += bytes;
    const int64_t usecs = ka_tv_usecs(ka_tv_diff(now, m_windowStart));
    if (usecs >= window_usecs) {
        endWindow(m_windowBytes * 1000 / usecs);
        m_windowBytes = 0;
        m_windowStart = now;
    }
    return m_inBatches ? m_batch : 1;
}

void CBatchRule::endWindow(int64_t rate) {
    m_batch = batch_for(rate / batches_per_msec);
    m_rates[m_inBatches ? 1 : 0] = rate;
    const bool batches_win = m_rates[1] >= m_rates[0] - m_rates[0] * loss_percent / 100;
    if (m_inBatches != m_batchesWon) {
        m_pause =
            batches_win == m_batchesWon ? std::clamp(2 * m_pause, pause_min, pause_max) : pause_min;
        m_windowsLeft = m_pause;
        m_batchesWon = batches_win;
    }
    --m_windowsLeft;
    m_inBatches = m_windowsLeft > 0 ? m_batchesWon : !m_batchesWon;
}
