// The timed transfer of an FTP test: the download and upload loops.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "ftptest/ftpcodes.h"
#include "ftptest/ftprun.h"
#include "measure/netstep.h"
#include "measure/receiver.h"
#include "measure/sender.h"
#include "measure/timedspan.h"
#include "netbase/support/clock.h"
#include "netbase/support/trace.h"
#include "netbase/support/wait.h"

namespace {

/// How often the way of an upload's last bytes is looked at, and how long they may rest.
constexpr timeval delivery_look = {0, 1000};
constexpr timeval delivery_patience = {1, 0};

}  // namespace

int CNetTest_FtpBase::transfer(SRun& run) {
    const CTimedSpan timed(transfer_trace_percent);
    ka_step_start(m_eStepDataTran);
    startTransfer(ka_now());
    onTranExStart(&m_tvTranStart);
    ka_trace("in 18\n");
    return download(run) == 0 && upload(run) == 0 ? 0 : -1;
}

int CNetTest_FtpBase::download(SRun& run) {
    if (m_stFtpBaseConfig.do_get == 0)
        return 0;
    CReceiver receiver(m_sockeData, run.data.data(),
                       static_cast<size_t>(m_stFtpBaseConfig.buff_size), CReceiver::EUse::count);
    while (!m_bTranDone) {
        if (isExecExit())
            return -1;
        if (!receivePart(run, receiver))
            break;
    }
    return 0;
}

/// One pass of the download; false when it was the last.
bool CNetTest_FtpBase::receivePart(SRun& run, CReceiver& receiver) {
    int ctrl_readable = 0;
    int error = 0;
    const int received = receiveData(receiver, m_stFtpBaseConfig.data_timeout,
                                     run.watchCtrl ? &ctrl_readable : nullptr, &error);
    const int reason = errno;
    const timeval now = ka_now();
    if (ctrl_readable != 0)
        pollControl(run);
    if (received < 0 && error != 0) {
        if (reason == ETIMEDOUT)
            setReason("nothing received for %g s", m_stFtpBaseConfig.data_timeout * 1e-6);
        else
            setReason("receiving failed after %" PRId64 " bytes: %s", m_iDataRecvSize,
                      std::strerror(reason));
        ka_step_fail(m_eStepDataTran, m_bRecvError);
        return false;
    }
    if (received == 0) {
        endOfData(now);
        return false;
    }
    if (received > 0) {
        m_iDataRecvSize += received;
        m_tvTranEnd = now;
        sampleTransfer(now);
    }
    if (m_iGetFileSize < 0)
        return true;
    receiver.follow(received, now, m_iGetFileSize - m_iDataRecvSize);
    if (m_iDataRecvSize < m_iGetFileSize)
        return true;
    passTransfer(now);
    return false;
}

/// Looks whether the server reports the end of the transfer while data still flows: many do so as
/// soon as they have handed the last bytes to their kernel, and with a small file the 226 comes
/// with the 150.
void CNetTest_FtpBase::pollControl(SRun& run) {
    const int code = exchange(nullptr, nullptr, 0, run.reply);
    if (code == FTP_COMPLETE) {
        m_bGet226Seen = true;
        if (!isIgnore226_onDataRecv()) {
            m_bTranDone = true;
            setReason("server reported the end (226) after %" PRId64
                      " bytes, before the data connection ended",
                      m_iDataRecvSize);
        }
    }
    // A connection that has ended stays readable: watching on would make the loop spin.
    run.watchCtrl = !isCtrlEnded();
}

void CNetTest_FtpBase::endOfData(const timeval& now) {
    if (m_iGetFileSize < 0 || m_bTranDone) {
        ka_step_pass(m_eStepDataTran);
        m_bTranDone = true;
    } else {
        setReason("server closed after %" PRId64 " of %" PRId64 " bytes", m_iDataRecvSize,
                  m_iGetFileSize);
        ka_step_fail(m_eStepDataTran);
    }
    m_tvTranEnd = now;
}

/// While it runs, and when the test is told to exit, m_iDataSendSize is what the peer's kernel has
/// acknowledged; otherwise it ends as what our kernel took.
int CNetTest_FtpBase::upload(SRun& run) {
    if (m_stFtpBaseConfig.do_put == 0)
        return 0;
    const CSender sender(m_sockeData, m_stFtpBaseConfig.data_timeout);
    m_tvTranEnd = run.lastSend = ka_now();
    const int result = sendFile(run, sender);
    if (result == 0)
        awaitDelivery(run, sender);
    if (isExecExit())
        return -1;
    m_iDataSendSize = run.sent;
    if (result == 0)
        passTransfer(m_tvTranEnd);
    return 0;
}

/// Hands the file over in whole chunks; 0 when all of it was taken.
int CNetTest_FtpBase::sendFile(SRun& run, const CSender& sender) {
    do {
        if (isExecExit() || sendPart(run, sender) != 0)
            return -1;
    } while (run.sent < m_iPutFileSize || run.sent % m_stFtpBaseConfig.buff_size != 0 ||
             run.sent == 0);
    return 0;
}

/// One pass: hands over what is left of the current chunk. A kernel that takes nothing is asked
/// again, as long as the time-out.
int CNetTest_FtpBase::sendPart(SRun& run, const CSender& sender) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    const auto begun = static_cast<size_t>(run.sent % config.buff_size);
    const ssize_t sent =
        sender.send(run.data.data() + begun, static_cast<size_t>(config.buff_size) - begun);
    const int reason = errno;
    const bool took_nothing = sent < 0 && (errno == EAGAIN || errno == EINTR);
    m_tvTranEnd = ka_now();
    if (sent > 0) {
        run.sent += sent;
        run.lastSend = m_tvTranEnd;
    } else if (!took_nothing ||
               ka_tv_usecs(ka_tv_diff(m_tvTranEnd, run.lastSend)) >= config.data_timeout) {
        if (took_nothing)
            setReason("server took nothing for %g s", config.data_timeout * 1e-6);
        else
            setReason("sending failed after %" PRId64 " bytes: %s", run.sent,
                      std::strerror(reason));
        return ka_step_fail(m_eStepDataTran, m_bSendError);
    }
    if (isSampleDue(m_tvTranEnd)) {
        m_iDataSendSize = run.sent - sender.pending();
        sampleTransfer(m_tvTranEnd);
    }
    return 0;
}

/// Times the rest on its way to the peer. That ends with the last acknowledgement; when none comes
/// for a second; or when one of the connections tells that the peer has done with it.
void CNetTest_FtpBase::awaitDelivery(SRun& run, const CSender& sender) {
    int64_t pending = sender.pending();
    EWait waited = EWait::timeout;
    while (pending > 0 && waited != EWait::ready && waited != EWait::failed && !isExecExit()) {
        pollfd fds[] = {{m_sockeData, POLLIN, 0}, {m_sockeCtrl, POLLIN, 0}};
        waited = ka_wait(fds, 2, &delivery_look);
        const int64_t left = sender.pending();
        const timeval now = ka_now();
        if (left < pending) {
            pending = left;
            m_iDataSendSize = run.sent - left;
            m_tvTranEnd = now;
            sampleTransfer(now);
        } else if (ka_tv_later(ka_tv_diff(now, m_tvTranEnd), delivery_patience)) {
            return;
        }
    }
}

void CNetTest_FtpBase::passTransfer(const timeval& now) {
    ka_step_pass(m_eStepDataTran);
    m_tvTranEnd = now;
    ftpTranStat(&now);
}

void CNetTest_FtpBase::sampleTransfer(const timeval& now) {
    if (isSampleDue(now)) {
        ftpTranStat(&now);
        reportFtpTestResult(true);
    }
}
