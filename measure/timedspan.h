// What is being timed.
#pragma once

#include <sys/time.h>

#include <cstdint>

/// Share of a transfer's time that may go to waiting for a reader of the traces.
constexpr int transfer_trace_percent = 5;

/// Marks a stretch of the run that is timed or has a deadline, for as long as it lives. Nothing
/// beside the measurement may hold that up for longer than a share of its time.
class CTimedSpan {
  public:
    /// From now on; `percent` is that share.
    explicit CTimedSpan(int percent = 0);
    CTimedSpan(const CTimedSpan&) = delete;
    CTimedSpan& operator=(const CTimedSpan&) = delete;
    ~CTimedSpan();

    /// The innermost span; null while nothing is being timed.
    static CTimedSpan* current() { return s_current; }

    /// Milliseconds of its share that are left.
    int64_t allowance() const;
    void spend(int64_t msecs) { m_spent += msecs; }

  protected:
    static CTimedSpan* s_current;
    CTimedSpan* const m_outer;
    const int m_percent;
    const timeval m_start;
    int64_t m_spent = 0;
};
