// Some glibc's fortified ppoll takes 32-bit times, whatever _TIME_BITS says.
#undef _FORTIFY_SOURCE

#include "netbase/support/wait.h"

#include <cerrno>
#include <ctime>

#include "netbase/support/clock.h"
#include "netbase/support/trace.h"

namespace {

constexpr timeval no_limit = {1 << 30, 0};

EWait wait_once(pollfd* fds, nfds_t count, const timeval& limit) {
    const timespec time{limit.tv_sec + limit.tv_usec / 1000000,
                        static_cast<long>(limit.tv_usec % 1000000) * 1000};
    const int hits = ppoll(fds, count, &time, nullptr);
    if (hits < 0)
        return errno == EINTR ? EWait::interrupted : EWait::failed;
    for (nfds_t i = 0; i < count; ++i) {
        if ((fds[i].revents & POLLNVAL) != 0) {
            errno = EBADF;
            return EWait::failed;
        }
    }
    return hits > 0 ? EWait::ready : EWait::timeout;
}

/// Waits in parts, so that the program can write its traces between them.
EWait wait_in_parts(pollfd* fds, nfds_t count, const timeval& limit) {
    const int reason = errno;
    CDeadline deadline(limit);
    timeval left;
    while (deadline.timeLeft(&left)) {
        const int soon = ka_trace_hook(false);
        errno = reason;
        const bool is_last = soon < 0 || ka_tv_usecs(left) <= soon;
        if (!is_last)
            _usecs2timeval(soon, &left);
        const EWait waited = wait_once(fds, count, left);
        if (is_last || waited != EWait::timeout)
            return waited;
    }
    return EWait::timeout;
}

}  // namespace

bool ka_wait_hit(const pollfd& fd) {
    return (fd.revents & (fd.events | POLLERR | POLLHUP)) != 0;
}

EWait ka_wait(pollfd* fds, nfds_t count, const timeval* timeout) {
    const timeval limit = timeout != nullptr ? *timeout : no_limit;
    if (limit.tv_sec < 0 || limit.tv_usec < 0) {
        errno = EINVAL;
        return EWait::failed;
    }
    return ka_trace_hook == nullptr ? wait_once(fds, count, limit)
                                    : wait_in_parts(fds, count, limit);
}

EWait ka_wait(int fd, short events, const timeval* timeout) {
    if (fd < 0) {
        errno = EBADF;
        return EWait::failed;
    }
    pollfd one{fd, events, 0};
    return ka_wait(&one, 1, timeout);
}

int ka_read_wait(int fd, const timeval* timeout) {
    const timeval poll_only{};
    switch (ka_wait(fd, POLLIN, timeout != nullptr ? timeout : &poll_only)) {
        case EWait::ready:
            return 1;
        case EWait::timeout:
            return 0;
        default:
            return -1;
    }
}
