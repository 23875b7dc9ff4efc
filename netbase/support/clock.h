// The monotonic clock and the arithmetic of its readings. A reading of {0,0} means "not taken".
#pragma once

#include <sys/time.h>

#include <cstdint>

/// Reads the monotonic clock (CLOCK_MONOTONIC), microseconds truncated. Stores the reading in `tv`
/// when that is not null. Returns the whole seconds.
int ka_get_clock(timeval* tv);

/// The current reading of the monotonic clock.
timeval ka_now();

/// True when the reading was taken, that is when it is not {0,0}.
bool ka_tv_isset(const timeval& tv);

/// True when `a` is later than `b`.
bool ka_tv_later(const timeval& a, const timeval& b);

/// `a` + `b`, with a carry when the microseconds exceed 999999.
timeval ka_tv_add(const timeval& a, const timeval& b);

/// `later` - `earlier`, field by field; negative microseconds borrow one second.
timeval ka_tv_diff(const timeval& later, const timeval& earlier);

/// Seconds * 1000 + microseconds / 1000, truncated, in 64 bits: right for runs of any length.
int64_t ka_tv_msecs(const timeval& tv);

/// Seconds * 1000000 + microseconds, in 64 bits.
int64_t ka_tv_usecs(const timeval& tv);

/// Milliseconds from `start` to `end`; 0 unless both readings were taken.
int64_t ka_tv_span_msecs(const timeval& start, const timeval& end);

/// The end of a wait that may take several rounds, fixed before the first.
class CDeadline {
  public:
    /// `span` from now.
    explicit CDeadline(const timeval& span) : CDeadline(ka_now(), span) {}
    /// `span` from `start`.
    CDeadline(const timeval& start, const timeval& span)
        : m_start(start), m_end(ka_tv_add(start, span)) {}

    /// The time left for the next round; false when the deadline has passed. The first round counts
    /// from the construction, so that a span of 0 is one poll.
    bool timeLeft(timeval* left);
    /// The time left at `now`. At the deadline itself nothing is left, but one last poll may be
    /// made.
    bool timeLeft(const timeval& now, timeval* left) const;

  protected:
    timeval m_start;
    timeval m_end;
    bool m_isFirst = true;
};

/// Splits `usecs` microseconds into seconds and microseconds. 0 or less gives {0,0}, which makes a
/// wait a poll. (The leading underscore is part of the name that callers use.)
void _usecs2timeval(int usecs, timeval* tv);  // NOLINT(bugprone-reserved-identifier)
