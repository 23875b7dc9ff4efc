#include "app/process.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "netbase/clock.h"
#include "netbase/wait.h"

namespace {

constexpr timeval reader_patience = {0, 500000};
constexpr timeval shortest_wait = {0, 1000};

void do_nothing(int) {}

void install_empty_handler(int signal, int flags) {
    struct sigaction action {};
    action.sa_handler = do_nothing;
    action.sa_flags = flags;
    sigaction(signal, &action, nullptr);
}

/// What is left of the patience with the reader of the traces.
timeval patience_left = reader_patience;

/// Counts the time since `start`, unless it is as short as a write to a ready reader takes.
void use_patience(const timeval& start) {
    const timeval used = ka_tv_diff(ka_now(), start);
    if (ka_tv_later(used, patience_left))
        patience_left = {0, 0};
    else if (ka_tv_later(used, shortest_wait))
        patience_left = ka_tv_diff(patience_left, used);
}

/// Interrupts a write that does not end in time, again and again until it is over.
class CWriteTimer {
  public:
    explicit CWriteTimer(const timeval& limit) {
        const itimerval timer{shortest_wait, limit};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
    CWriteTimer(const CWriteTimer&) = delete;
    CWriteTimer& operator=(const CWriteTimer&) = delete;
    ~CWriteTimer() {
        const itimerval off{};
        setitimer(ITIMER_REAL, &off, nullptr);
    }
};

/// Writes what the reader takes in time; 0 or less when it takes nothing.
ssize_t write_in_time(std::string_view text) {
    const timeval start = ka_now();
    ssize_t written = -1;
    if (ka_wait(STDOUT_FILENO, POLLOUT, &patience_left) == EWait::ready) {
        const CWriteTimer timer(ka_tv_later(patience_left, shortest_wait) ? patience_left
                                                                          : shortest_wait);
        written = write(STDOUT_FILENO, text.data(), text.size());
    }
    use_patience(start);
    return written;
}

/// Counts everything as written: traces that are lost are no error of the stream.
ssize_t write_traces(void*, const char* text, size_t size) {
    std::string_view left(text, size);
    while (!left.empty()) {
        const ssize_t written = write_in_time(left);
        if (written <= 0)
            break;
        left.remove_prefix(static_cast<size_t>(written));
    }
    return static_cast<ssize_t>(size);
}

}  // namespace

void fill_standard_descriptors() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO)
        close(fd);
}

void disarm_broken_pipes() {
    install_empty_handler(SIGPIPE, SA_RESTART);
}

void install_trace_output() {
    static std::array<char, 65536> buffer;
    FILE* traces = fopencookie(nullptr, "w", {nullptr, write_traces, nullptr, nullptr});
    if (traces == nullptr)
        return;
    install_empty_handler(SIGALRM, 0);
    setvbuf(traces, buffer.data(), _IOFBF, buffer.size());
    stdout = traces;
}
