// A test that runs in a process of its own, and is watched.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstdint>
#include <string>

#include "measure/record.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "show/watchedtest.h"

/// Starts a test and watches it. It ends when this process ends, whatever the reason, and when this
/// process is told to end by SIGINT, SIGTERM or SIGHUP.
class CTestRun {
  public:
    CTestRun();
    CTestRun(const CTestRun&) = delete;
    CTestRun& operator=(const CTestRun&) = delete;
    ~CTestRun();

    /// Starts the test for arguments of net-test, its name included. `traces` becomes its standard
    /// output unless it is negative. False, with `why`, when that fails.
    bool start(int argc, const char* const* argv, int seconds, int traces, std::string* why);

    /// Takes in what the test tells, or a signal, waiting at most `msecs` for it. False once the
    /// test has ended.
    bool wait(int msecs);

    /// The record as the test has told it last.
    const SRecord& record() const { return m_record; }
    bool isRecordKnown() const { return m_isRecordKnown; }
    const STestReport& report() const { return m_report; }
    /// Seconds since a byte has moved or a phase has begun.
    int64_t quietSeconds() const;
    /// The signal that told this process to end; 0 when none came.
    int interruptedBy() const { return m_interruptedBy; }
    /// errno of traces that could not be written; 0 when they could.
    int tracesError() const { return m_tracesError; }
    /// How the test's process ended, in words, if that is not as it should be; else empty.
    std::string failure() const;

  protected:
    void takeMessage(const STestMessage& message);
    void takeSignal();
    /// Takes the process's status; signals reach this process again.
    void reap();

    sigset_t m_signals{};  ///< blocked while the test runs, and taken by wait
    sigset_t m_before{};   ///< what was blocked before
    CDescriptor m_signalFile{-1};
    CDescriptor m_link{-1};
    pid_t m_pid = -1;
    int m_status = 0;
    int m_interruptedBy = 0;
    int m_tracesError = 0;
    timeval m_started{};
    timeval m_lastMove{};
    timeval m_interruptTime{};  ///< when it was told so
    SRecord m_record{};
    bool m_isRecordKnown = false;
    STestReport m_report;
};
