#include "netbase/wait.h"

#include <cerrno>
#include <ctime>

bool ka_wait_hit(const pollfd& fd) {
    return (fd.revents & (fd.events | POLLERR | POLLHUP)) != 0;
}

EWait ka_wait(pollfd* fds, nfds_t count, const timeval* timeout) {
    timespec limit{};
    if (timeout != nullptr) {
        limit.tv_sec = timeout->tv_sec + timeout->tv_usec / 1000000;
        limit.tv_nsec = static_cast<long>(timeout->tv_usec % 1000000) * 1000;
    }
    const int hits = ppoll(fds, count, timeout != nullptr ? &limit : nullptr, nullptr);
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
