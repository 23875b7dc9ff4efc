// Some glibc's fortified ppoll takes 32-bit times, whatever _TIME_BITS says.
#undef _FORTIFY_SOURCE

#include "netbase/support/wait.h"

#include <cerrno>
#include <ctime>

#include "netbase/support/traces.h"

namespace {

constexpr timespec short_wait = {0, 100000000};

/// Whoever watches sees where a run stands: the traces are brought out once a wait has lasted for a
/// while and nothing can suffer from it.
int wait_for_events(pollfd* fds, nfds_t count, timespec* limit) {
    if (limit != nullptr && limit->tv_sec == 0 && limit->tv_nsec <= short_wait.tv_nsec)
        return ppoll(fds, count, limit, nullptr);
    const int hits = ppoll(fds, count, &short_wait, nullptr);
    if (hits != 0)
        return hits;
    ka_bring_out_traces();
    if (limit != nullptr) {
        limit->tv_nsec -= short_wait.tv_nsec;
        if (limit->tv_nsec < 0) {
            limit->tv_nsec += 1000000000;
            limit->tv_sec -= 1;
        }
    }
    return ppoll(fds, count, limit, nullptr);
}

}  // namespace

bool ka_wait_hit(const pollfd& fd) {
    return (fd.revents & (fd.events | POLLERR | POLLHUP)) != 0;
}

EWait ka_wait(pollfd* fds, nfds_t count, const timeval* timeout) {
    timespec limit{};
    if (timeout != nullptr) {
        limit.tv_sec = timeout->tv_sec + timeout->tv_usec / 1000000;
        limit.tv_nsec = static_cast<long>(timeout->tv_usec % 1000000) * 1000;
    }
    const int hits = wait_for_events(fds, count, timeout != nullptr ? &limit : nullptr);
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
