// The timed transfer of an FTP test: the download and upload loops.
#include <algorithm>
#include <cerrno>

#include "ftptest/ftpcodes.h"
#include "ftptest/ftprun.h"
#include "measure/netstep.h"
#include "measure/receiver.h"
#include "measure/sendqueue.h"
#include "measure/timedspan.h"
#include "netbase/support/trace.h"

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
    const timeval now = ka_now();
    if (ctrl_readable != 0)
        pollControl(run);
    if (received < 0 && error != 0) {
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
    receiver.follow(received, now, m_iGetFileSize < 0 ? -1 : m_iGetFileSize - m_iDataRecvSize);
    if (m_iGetFileSize < 0 || m_iDataRecvSize < m_iGetFileSize)
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
        if (!isIgnore226_onDataRecv())
            m_bTranDone = true;
    }
    // A connection that has ended stays readable: watching on would make the loop spin.
    run.watchCtrl = !isCtrlEnded();
}

void CNetTest_FtpBase::endOfData(const timeval& now) {
    if (m_iGetFileSize < 0 || m_bTranDone) {
        ka_step_pass(m_eStepDataTran);
        m_bTranDone = true;
    } else {
        ka_step_fail(m_eStepDataTran);
    }
    m_tvTranEnd = now;
}

int CNetTest_FtpBase::upload(SRun& run) {
    if (m_stFtpBaseConfig.do_put == 0)
        return 0;
    CSendQueue queue(m_sockeData);
    run.lastSend = ka_now();
    do {
        if (isExecExit())
            return -1;
        if (!sendPart(run))
            return 0;
        if (m_iDataSendSize >= m_stFtpBaseConfig.buff_size)
            queue.follow();
    } while (m_iDataSendSize < m_iPutFileSize);
    passTransfer(m_tvTranEnd);
    return 0;
}

/// One pass of the upload, a fifth of a second at most: hands over what is left of the current
/// chunk; false when that failed. A kernel that takes nothing is asked again, as long as the
/// time-out.
bool CNetTest_FtpBase::sendPart(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    const auto handed_over = static_cast<int>(m_iDataSendSize % config.buff_size);
    const int sent = sendFtpData(std::min(config.data_timeout, send_pass_usecs),
                                 run.data.data() + handed_over, config.buff_size - handed_over);
    const timeval now = ka_now();
    const timeval idle = ka_tv_diff(now, run.lastSend);
    const bool took_nothing = sent < 0 && (errno == EAGAIN || errno == ETIMEDOUT);
    m_tvTranEnd = now;
    if (sent < 0 && (!took_nothing || timeval2usecs(&idle) >= config.data_timeout)) {
        ka_step_fail(m_eStepDataTran, m_bSendError);
        return false;
    }
    if (sent > 0) {
        m_iDataSendSize += sent;
        run.lastSend = now;
    }
    sampleTransfer(now);
    return true;
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
