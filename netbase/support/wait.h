// The bounded wait of the library: every wait for a descriptor goes through here. It takes any
// descriptor, also above 1023.
#pragma once

#include <poll.h>
#include <sys/time.h>

/// How a wait ended. `interrupted` (a signal came) is told apart from `failed` because callers
/// differ in what they do about it; errno holds the reason of both.
enum class EWait { ready, timeout, interrupted, failed };

/// Waits until one of `count` descriptors has one of the events asked for, or an error or hang-up,
/// for at most `timeout` (null: no limit; negative: the wait fails). A negative descriptor is
/// passed over; one that is not open fails the wait. The time value is not changed. An event is
/// tested with ka_wait_hit. A wait
///
EWait ka_wait(pollfd* fds, nfds_t count, const timeval* timeout);

/// Waits for `events` (POLLIN or POLLOUT) of one descriptor; a negative descriptor fails.
EWait ka_wait(int fd, short events, const timeval* timeout);

/// True when the descriptor of a finished wait is ready: it has an event asked for, or an error or
/// hang-up that the next read or write will report.
bool ka_wait_hit(const pollfd& fd);

/// Waits until `fd` is readable, at most `timeout`; null means a poll, not an endless wait.
/// Returns 1 when it is readable, 0 when the time passed, -1 when `fd` is negative or the wait
/// failed.
int ka_read_wait(int fd, const timeval* timeout);
