#include "show/testrun.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "show/notes.h"
#include "show/text.h"

namespace {

/// How long a test may take to end in an orderly way once it was told to.
constexpr timeval end_patience = {2, 0};
/// What comes within this time is one and the same signal, sent to a process and to its group.
constexpr timeval same_signal = {0, 500000};

constexpr size_t redirects_max = 100;

/// The process of the test ends with the one that watches it.
void end_with_parent(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(0);
}

}  // namespace

CTestRun::CTestRun() {
    sigemptyset(&m_signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&m_signals, number);
    }
    sigprocmask(SIG_BLOCK, &m_signals, &m_before);
    m_signalFile = CDescriptor(signalfd(-1, &m_signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

CTestRun::~CTestRun() {
    if (m_pid > 0)
        kill(m_pid, SIGKILL);
    reap();
}

bool CTestRun::start(int argc, const char* const* argv, int seconds, int traces, std::string* why) {
    int ends[2];
    const pid_t parent = getpid();
    std::signal(SIGCHLD, SIG_DFL);  // one that is ignored would take the exit status with it
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0) {
        m_link = CDescriptor(ends[0]);
        const CDescriptor others(ends[1]);
        m_started = m_lastMove = ka_now();
        m_report.started = time(nullptr);
        m_report.notes = notes_on_arguments(argc, argv);
        fflush(nullptr);
        m_pid = fork();
        if (m_pid == 0) {
            end_with_parent(parent);
            if (traces >= 0)
                dup2(traces, STDOUT_FILENO);
            run_watched_test(argc, argv, others.get(), seconds, traces >= 0);
            _exit(0);
        }
    }
    *why = std::strerror(errno);
    return m_pid > 0;
}

bool CTestRun::wait(int msecs) {
    pollfd fds[] = {{m_link.get(), POLLIN, 0}, {m_signalFile.get(), POLLIN, 0}};
    poll(fds, 2, msecs);
    if ((fds[1].revents & POLLIN) != 0)
        takeSignal();
    if (m_interruptedBy != 0 && ka_tv_later(ka_now(), ka_tv_add(m_interruptTime, end_patience)))
        kill(m_pid, SIGKILL);
    STestMessage message{};
    ssize_t size = 0;
    while ((size = recv(m_link.get(), &message, sizeof(message), MSG_DONTWAIT)) > 0)
        takeMessage(message);
    if (size < 0)
        return true;
    reap();
    m_report.durationMsecs = ka_tv_span_msecs(m_started, ka_now());
    return false;
}

void CTestRun::takeMessage(const STestMessage& message) {
    switch (message.kind) {
        case STestMessage::EKind::state:
            if (message.record.steps != m_record.steps ||
                message.record.totdata != m_record.totdata)
                m_lastMove = ka_now();
            m_record = message.record;
            m_report.facts = message.facts;
            m_isRecordKnown = true;
            break;
        case STestMessage::EKind::sample:
            m_report.samples.push_back(message.sample);
            break;
        case STestMessage::EKind::redirect: {
            m_report.samples.clear();
            if (m_report.redirects.size() >= redirects_max)
                break;
            m_report.redirects.push_back(printable(message.url));
            for (const std::string& note : notes_on_redirect(message.url))
                m_report.notes.push_back(note);
            break;
        }
        case STestMessage::EKind::traces:
            m_tracesError = message.tracesError;
            break;
    }
}

/// The first signal lets the test write its last record; a second one kills it.
void CTestRun::takeSignal() {
    signalfd_siginfo info{};
    if (read(m_signalFile.get(), &info, sizeof(info)) != sizeof(info))
        return;
    const timeval now = ka_now();
    const bool is_first = m_interruptedBy == 0;
    if (!is_first && !ka_tv_later(now, ka_tv_add(m_interruptTime, same_signal)))
        return;
    kill(m_pid, is_first ? SIGTERM : SIGKILL);
    kill(m_pid, SIGCONT);  // it may have been stopped
    if (!is_first)
        return;
    m_interruptedBy = static_cast<int>(info.ssi_signo);
    m_interruptTime = now;
}

void CTestRun::reap() {
    if (m_pid > 0)
        waitpid(m_pid, &m_status, 0);
    m_pid = -1;
    sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

int64_t CTestRun::quietSeconds() const {
    return ka_tv_diff(ka_now(), m_lastMove).tv_sec;
}

std::string CTestRun::failure() const {
    if (WIFSIGNALED(m_status))
        return "was killed by signal " + std::to_string(WTERMSIG(m_status)) + " (" +
               strsignal(WTERMSIG(m_status)) + ")";
    return WEXITSTATUS(m_status) != 0 ? "ended with status " + std::to_string(WEXITSTATUS(m_status))
                                      : "";
}
