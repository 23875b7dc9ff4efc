// net-test as a process of its own.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <ctime>
#include <string>

/// Starts net-test, waits for it, and ends it when this process is told to end.
class CTestProcess {
  public:
    CTestProcess();

    /// Starts the net-test that lies beside this program, or else in PATH. `arguments` are its own,
    /// without its name, and end with null; `traces` becomes its standard output. False, with
    /// `why`, when it can't be started.
    bool start(char* const* arguments, int traces, std::string* why);

    /// Waits for a signal, but not longer than `time`; SIGINT, SIGTERM and SIGHUP end net-test.
    /// False once it has ended.
    bool wait(const timespec& time);

    /// The signal that told this process to end; 0 when none came.
    int interruptedBy() const { return m_interruptedBy; }
    /// How net-test ended, in words, if that is not as it should be; else empty.
    std::string failure() const;

  protected:
    sigset_t m_signals{};  ///< blocked while net-test runs, and taken by wait
    sigset_t m_before{};   ///< what was blocked before
    pid_t m_pid = -1;
    int m_status = 0;
    int m_interruptedBy = 0;
};
