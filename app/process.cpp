#include "app/process.h"

#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "netbase/clock.h"
#include "netbase/wait.h"

namespace {

/// How long the reader of the traces is waited for: while the test runs, and at its end.
constexpr timeval running_patience = {0, 100000};
constexpr timeval final_patience = {0, 500000};

/// Any write may take that long.
constexpr timeval short_write = {0, 1000};

/// Holds all traces from a response head that fills the first receive to the receive after it, so
/// that none of them is brought out in between.
constexpr size_t trace_buffer_size = 524288 + 65536;

timeval patience_left = running_patience;

void do_nothing(int) {}

void install_empty_handler(int signal, int flags) {
    struct sigaction action {};
    action.sa_handler = do_nothing;
    action.sa_flags = flags;
    sigaction(signal, &action, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    sigprocmask(SIG_UNBLOCK, &one, nullptr);
}

/// A signal of our own, which leaves alone the alarms of whoever started the process.
int write_timer_signal() {
    return SIGRTMIN;
}

/// Interrupts a write that does not end in time, again and again until it is over.
class CWriteTimer {
  public:
    explicit CWriteTimer(const timeval& limit) {
        sigevent event{};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = write_timer_signal();
        m_isSet = timer_create(CLOCK_MONOTONIC, &event, &m_timer) == 0;
        const itimerspec times{{0, short_write.tv_usec * 1000},
                               {limit.tv_sec, static_cast<long>(limit.tv_usec) * 1000}};
        if (m_isSet)
            timer_settime(m_timer, 0, &times, nullptr);
    }
    CWriteTimer(const CWriteTimer&) = delete;
    CWriteTimer& operator=(const CWriteTimer&) = delete;
    ~CWriteTimer() {
        if (m_isSet)
            timer_delete(m_timer);
    }

    bool isSet() const { return m_isSet; }

  protected:
    timer_t m_timer{};
    bool m_isSet = false;
};

/// Counts the time since `start`, unless it is as short as any write may take.
void use_patience(const timeval& start) {
    const timeval used = ka_tv_diff(ka_now(), start);
    if (ka_tv_later(used, patience_left))
        patience_left = {0, 0};
    else if (ka_tv_later(used, short_write))
        patience_left = ka_tv_diff(patience_left, used);
}

/// Writes what the reader takes in time; 0 or less when it takes nothing. Where no timer would
/// interrupt the write, and once the patience is used up, that is no more than a pipe takes at
/// once.
ssize_t write_in_time(std::string_view text) {
    const bool patient = ka_tv_later(patience_left, short_write);
    const timeval start = ka_now();
    ssize_t written = -1;
    if (ka_wait(STDOUT_FILENO, POLLOUT, &patience_left) == EWait::ready) {
        const CWriteTimer timer(patient ? patience_left : short_write);
        const size_t most = patient && timer.isSet() ? text.size() : PIPE_BUF;
        written = write(STDOUT_FILENO, text.data(), std::min(text.size(), most));
    }
    use_patience(start);
    return patient ? written : -1;
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

void disarm_write_signals() {
    for (const int signal : {SIGPIPE, SIGXFSZ})
        install_empty_handler(signal, SA_RESTART);
}

void install_trace_output() {
    static std::array<char, trace_buffer_size> buffer;
    explicit_bzero(buffer.data(), buffer.size());  // touches its pages before the test
    FILE* traces = fopencookie(nullptr, "w", {nullptr, write_traces, nullptr, nullptr});
    if (traces == nullptr)
        return;
    install_empty_handler(write_timer_signal(), 0);
    setvbuf(traces, buffer.data(), _IOFBF, buffer.size());
    stdout = traces;
}

void finish_trace_output() {
    patience_left = final_patience;
    fflush(stdout);
}
