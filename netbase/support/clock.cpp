#include "netbase/support/clock.h"

#include <ctime>

namespace {

constexpr int usecs_per_sec = 1000000;

}  // namespace

int ka_get_clock(timeval* tv) {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    if (tv != nullptr) {
        tv->tv_sec = ts.tv_sec;
        tv->tv_usec = static_cast<suseconds_t>(ts.tv_nsec / 1000);
    }
    return static_cast<int>(ts.tv_sec);
}

timeval ka_now() {
    timeval tv{};
    ka_get_clock(&tv);
    return tv;
}

bool ka_tv_isset(const timeval& tv) {
    return tv.tv_sec != 0 || tv.tv_usec != 0;
}

bool ka_tv_later(const timeval& a, const timeval& b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_usec > b.tv_usec;
}

timeval ka_tv_add(const timeval& a, const timeval& b) {
    timeval sum{a.tv_sec + b.tv_sec, a.tv_usec + b.tv_usec};
    if (sum.tv_usec >= usecs_per_sec) {
        sum.tv_sec += 1;
        sum.tv_usec -= usecs_per_sec;
    }
    return sum;
}

timeval ka_tv_diff(const timeval& later, const timeval& earlier) {
    timeval diff{later.tv_sec - earlier.tv_sec, later.tv_usec - earlier.tv_usec};
    if (diff.tv_usec < 0) {
        diff.tv_sec -= 1;
        diff.tv_usec += usecs_per_sec;
    }
    return diff;
}

int64_t ka_tv_msecs(const timeval& tv) {
    return static_cast<int64_t>(tv.tv_sec) * 1000 + tv.tv_usec / 1000;
}

int64_t ka_tv_usecs(const timeval& tv) {
    return int64_t{tv.tv_sec} * usecs_per_sec + tv.tv_usec;
}

int64_t ka_tv_span_msecs(const timeval& start, const timeval& end) {
    return ka_tv_isset(start) && ka_tv_isset(end) ? ka_tv_msecs(ka_tv_diff(end, start)) : 0;
}

bool CDeadline::timeLeft(timeval* left) {
    const timeval now = m_isFirst ? m_start : ka_now();
    m_isFirst = false;
    return timeLeft(now, left);
}

bool CDeadline::timeLeft(const timeval& now, timeval* left) const {
    *left = ka_tv_diff(m_end, now);
    return !ka_tv_later(now, m_end);
}

void _usecs2timeval(int usecs, timeval* tv) {  // NOLINT(bugprone-reserved-identifier)
    const int span = usecs > 0 ? usecs : 0;
    tv->tv_sec = span / usecs_per_sec;
    tv->tv_usec = span % usecs_per_sec;
}
