#include "show/watchedtest.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>

#include "app/driver.h"
#include "app/output.h"
#include "app/tracequeue.h"
#include "measure/record.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/clock.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

namespace {

/// When a transfer that is to end after some seconds gets no sample then, it is ended by signals.
constexpr timeval sample_patience = {0, 300000};
constexpr timeval signal_pause = {0, 100000};

/// The connection to the watching process.
struct {
    int link = -1;
    int seconds = 0;  ///< of transfer, after which the test ends

    /// Only the last messages wait for the watching process.
    void tell(const STestMessage& message, bool mayWait) const {
        send(link, &message, sizeof(message), MSG_NOSIGNAL | (mayWait ? 0 : MSG_DONTWAIT));
    }
} teller;

volatile std::sig_atomic_t is_time_up = 0;

/// Ends the test, and every wait from now on soon after it has begun.
void end_test(int signal) {
    if (signal == SIGALRM && !CNetBase::isExecExit())
        is_time_up = 1;
    CNetBase::exitExec();
    const itimerval timer{signal_pause, signal_pause};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

struct IWatched {
    virtual ~IWatched() = default;
    virtual void tellNewSteps() = 0;
};
IWatched* watched = nullptr;
int (*write_or_flush)(bool may_wait) = nullptr;

/// Called before every wait: a phase may have begun since the one before.
int care(bool may_wait) {
    if (watched != nullptr)
        watched->tellNewSteps();
    return write_or_flush != nullptr ? write_or_flush(may_wait) : -1;
}

int64_t msecs_of(const timeval& start, const timeval& end) {
    return ka_tv_isset(start) && ka_tv_isset(end) ? ka_tv_span_msecs(start, end) : -1;
}

/// A test that tells how it goes.
template <typename Base>
class CWatched : public Base, public IWatched {
  public:
    using Base::Base;

    int startTest() override {
        watched = this;
        return Base::startTest();
    }

    int onTranExStart(const timeval* start) override {
        if (teller.seconds > 0) {
            const itimerval timer{signal_pause, ka_tv_add({teller.seconds, 0}, sample_patience)};
            setitimer(ITIMER_REAL, &timer, nullptr);
        }
        return Base::onTranExStart(start);
    }

    int onTranExStat(bool first, const timeval* now) override {
        STestMessage message{};
        message.kind = STestMessage::EKind::sample;
        message.sample.msecs = ka_tv_span_msecs(this->m_tvTranStart, *now);
        message.sample.bytes = this->m_iDataRecvSize - this->m_iLastRecvSize +
                               this->m_iDataSendSize - this->m_iLastSendSize;
        message.sample.speed = this->m_iCurSpeed;
        teller.tell(message, false);
        if (teller.seconds > 0 && message.sample.msecs >= 1000 * int64_t{teller.seconds})
            end_test(SIGALRM);
        return Base::onTranExStat(first, now);
    }

    void tellNewSteps() final {
        if (recordNow(true).steps != m_steps)
            tellState(true);
    }

  protected:
    virtual SRecord recordNow(bool inProgress) const = 0;
    virtual bool isTransferring() const = 0;
    /// What differs: times of phases, the server.
    virtual void putFacts(STestFacts* facts) const = 0;

    void tellState(bool inProgress) {
        if (!CNetBase::isExecExit() && !isTransferring()) {
            const itimerval none{};
            setitimer(ITIMER_REAL, &none, nullptr);
        }
        STestMessage message{};
        message.kind = STestMessage::EKind::state;
        message.record = recordNow(inProgress);
        m_steps = message.record.steps;
        STestFacts& facts = message.facts;
        ka_copy_text(facts.reason, this->m_szReason);
        facts.isTimeUp = is_time_up != 0;
        facts.phaseMsecs.at(phase_resolve) = msecs_of(this->m_tvDnsStart, this->m_tvDnsEnd);
        facts.phaseMsecs.at(phase_transfer) = msecs_of(this->m_tvTranStart, this->m_tvTranEnd);
        putFacts(&facts);
        teller.tell(message, !inProgress);
    }

    static void putServer(STestFacts* facts, const CSockAddr& server) {
        facts->port = server.port();
        if (server.addr4().s_addr != 0)
            ka_copy_text(facts->host, server.hostText().data());
    }

    std::array<int64_t, record_steps_max> m_steps{};  ///< told last
};

class CWatchedFtp final : public CWatched<CNetTest_FtpBase> {
  public:
    using CWatched::CWatched;

    int reportFtpTestResult(bool bInProgress) override {
        const int result = CWatched::reportFtpTestResult(bInProgress);
        tellState(bInProgress);
        return result;
    }

  protected:
    SRecord recordNow(bool inProgress) const override { return currentRecord(inProgress); }
    bool isTransferring() const override { return m_eStepDataTran == NET_STEP_INPROGRESS; }
    void putFacts(STestFacts* facts) const override {
        facts->phaseMsecs.at(phase_connect) = msecs_of(m_tvCtrlConnStart, m_tvCtrlConnEnd);
        facts->phaseMsecs.at(phase_login) = msecs_of(m_tvCtrlConnEnd, m_tvLoginEnd);
        putServer(facts, CSockAddr::inet4(m_in4CtrlAddr, m_iCtrlPort));
    }
};

class CWatchedHttp final : public CWatched<CNetTest_HttpBase> {
  public:
    using CWatched::CWatched;

    int reportHttpTestResult(bool interim) override {
        const int result = CWatched::reportHttpTestResult(interim);
        tellState(interim);
        return result;
    }
    int onHttpResetEx(const char* url) override {
        STestMessage message{};
        message.kind = STestMessage::EKind::redirect;
        ka_copy_text(message.url, url);
        if (m_isBegun)
            teller.tell(message, false);
        m_isBegun = true;
        return CWatched::onHttpResetEx(url);
    }

  protected:
    SRecord recordNow(bool) const override { return currentRecord(); }
    bool isTransferring() const override { return m_eStepDownload == NET_STEP_INPROGRESS; }
    void putFacts(STestFacts* facts) const override {
        facts->phaseMsecs.at(phase_connect) = msecs_of(m_tvConnStart, m_tvConnEnd);
        facts->phaseMsecs.at(phase_head) = msecs_of(m_tvReqStart, m_tvHeadEnd);
        facts->httpStatus = m_iRespStatus;
        ka_copy_printable(facts->httpReason, m_szRespReason);
        putServer(facts, CSockAddr::inet4(m_in4HttpAddr, m_iHttpPort));
    }

    bool m_isBegun = false;  ///< the next reset is a redirect
};

/// Signals, which are blocked until then, end the test by the exit flag; those that a terminal
/// sends to all of its processes are the watcher's business.
void set_signals() {
    struct sigaction action {};
    action.sa_handler = end_test;  // without SA_RESTART: waits end, too
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGALRM, &action, nullptr);
    for (const int signal : {SIGINT, SIGHUP})
        std::signal(signal, SIG_IGN);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace

void run_watched_test(int argc, const char* const* argv, int link, int seconds, bool hasTraces) {
    set_signals();
    teller.link = link;
    teller.seconds = seconds;
    STestMessage message{};
    message.kind = STestMessage::EKind::traces;
    if (hasTraces) {
        COutput output(STDOUT_FILENO);
        {
            const CTraceQueue traces(output);
            write_or_flush = ka_trace_hook;
            ka_trace_hook = care;
            run_net_test<CWatchedFtp, CWatchedHttp>(argc, argv);
        }
        message.tracesError = output.failure();
        teller.tell(message, true);
    } else {
        ka_set_trace_stream(nullptr);
        ka_trace_hook = care;
        run_net_test<CWatchedFtp, CWatchedHttp>(argc, argv);
    }
}
