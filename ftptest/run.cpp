// The run of an FTP test: control connection, login, data mode, transfer command, data connection,
// transfer, close-down.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <climits>

#include "ftptest/cnettest_ftpbase.h"
#include "ftptest/ftptext.h"
#include "measure/netstep.h"
#include "measure/sendqueue.h"
#include "measure/transferbuffer.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/traces.h"

namespace {

// Reply codes that the run decides on
constexpr int code_opening_max = 150;  // what RETR may answer at most
constexpr int code_data_open = 125;
constexpr int code_opening = 150;
constexpr int code_ok = 200;
constexpr int code_superfluous = 202;
constexpr int code_size = 213;
constexpr int code_ready = 220;
constexpr int code_complete = 226;
constexpr int code_logged_in = 230;
constexpr int code_need_password = 331;

constexpr int default_buff_size = 524288;
constexpr int brief_timeout = 1000000;

/// The settings' size, counted as 32 bits without sign where it fits int.
int64_t bytes_to_upload(int64_t put_size) {
    return put_size > INT_MAX ? put_size
                              : static_cast<uint32_t>(std::max<int64_t>(put_size, INT_MIN));
}

}  // namespace

struct CNetTest_FtpBase::SRun {
    FtpReply reply{};  ///< used again by every exchange
    CTransferBuffer data;
    bool watchCtrl = true;  ///< the control connection can still say something
    bool quitSent = false;
};

int CNetTest_FtpBase::startTest() {
    SFtpBaseConfig& config = m_stFtpBaseConfig;
    for (int* timeout : {&config.ctrl_conn_timeout, &config.data_conn_timeout}) {
        if (*timeout <= 0)
            *timeout = -1;
    }
    if (config.buff_size <= 0)
        config.buff_size = default_buff_size;
    resetFtpSession();
    ka_step_start(m_eStepPrepare);
    m_tvTestStart = ka_now();
    reportFtpTestResult(true);
    if (config.do_put != 0)
        m_iPutFileSize = bytes_to_upload(config.put_size);
    if (isExecExit())
        return 0;
    if (resolveServer() != 0) {
        ka_step_fail(m_eStepPrepare, m_bDnsFail);
        return 0;
    }
    m_iCtrlPort = config.ctrl_port;
    m_iDataPort = 20;
    if (!isExecExit())
        ka_step_pass(m_eStepPrepare);
    return 0;
}

int CNetTest_FtpBase::resolveServer() {
    const char* host = m_stFtpBaseConfig.host_name;
    if (m_stFtpBaseConfig.use_inet6 != 0) {
        const int result = resolveIn6Addr(host, &m_in6CtrlAddr, &m_tvDnsStart, &m_tvDnsEnd);
        m_in6DataAddr = m_in6CtrlAddr;
        return result;
    }
    const int result = resolveIn4Addr(host, &m_in4CtrlAddr, &m_tvDnsStart, &m_tvDnsEnd);
    m_in4DataAddr = m_in4CtrlAddr;
    return result;
}

int CNetTest_FtpBase::onMainLoop() {
    SRun run;
    if (beginRun(run) == 0 && openControl(run) == 0 && login(run) == 0 && chooseDataMode() == 0 &&
        announceTransfer(run) == 0 && openPassiveData() == 0 && commandTransfer(run) == 0 &&
        openActiveData() == 0 && transfer(run) == 0)
        closeTransfer(run);
    endRun(run);
    return 0;
}

int CNetTest_FtpBase::beginRun(SRun& run) {
    if (m_eStepPrepare != NET_STEP_PASS || isExecExit())
        return -1;
    const auto size = static_cast<size_t>(std::max(m_stFtpBaseConfig.buff_size, default_buff_size));
    return run.data.allocate(size) ? 0 : -1;
}

int CNetTest_FtpBase::failControl(enet_step_type& step, bool& cause) {
    m_tvCtrlFail = ka_now();
    return ka_step_fail(step, cause);
}

int CNetTest_FtpBase::openControl(SRun& run) {
    ka_step_start(m_eStepCtrlConn);
    puts("in 6");
    m_tvCtrlConnStart = ka_now();
    if (connectFtpCtrl() != 0)
        return failControl(m_eStepCtrlConn, m_bCtrlConnFail);
    puts("in 7");
    if (isExecExit())
        return -1;
    puts("in 8");
    if (exchange(nullptr, nullptr, m_stFtpBaseConfig.resp_timeout, run.reply) != code_ready)
        return failControl(m_eStepCtrlConn, m_bGreetFail);
    ka_step_pass(m_eStepCtrlConn);
    m_tvCtrlConnEnd = ka_now();
    puts("in 9");
    return isExecExit() ? -1 : 0;
}

int CNetTest_FtpBase::login(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    puts("in 10");
    ka_step_start(m_eStepCtrlAuth);
    int code = exchange("USER", config.username, config.resp_timeout, run.reply);
    if (code == code_need_password) {
        code = exchange("PASS", config.password, config.resp_timeout, run.reply);
        if (code != code_logged_in)
            return failControl(m_eStepCtrlAuth, m_bPassFail);
    }
    if (code != code_logged_in)
        return failControl(m_eStepCtrlAuth, m_bUserFail);
    ka_step_pass(m_eStepCtrlAuth);
    m_tvLoginEnd = ka_now();
    if (isExecExit())
        return -1;
    ka_step_start(m_eStepCtrlPut);
    exchange("TYPE", "I", config.resp_timeout, run.reply);
    return isExecExit() ? -1 : 0;
}

int CNetTest_FtpBase::chooseDataMode() {
    const bool pasv = m_stFtpBaseConfig.use_pasv != 0;
    const bool port = m_stFtpBaseConfig.use_port != 0;
    ka_step_start(m_eStepPasv);
    ka_step_start(m_eStepPort);
    puts("in 11");
    if (pasv || port) {
        // Active mode stands in for a passive one that is refused.
        const bool chosen = (pasv && negotiate(m_eStepPasv, onPassiveMode()) == 0) ||
                            (port && negotiate(m_eStepPort, onActiveMode()) == 0);
        if (!chosen)
            return -1;
    }
    ka_step_pass(m_eStepCtrlAuth);
    puts("in 12");
    return 0;
}

int CNetTest_FtpBase::negotiate(enet_step_type& step, int result) {
    if (result != 0)
        return ka_step_fail(step);
    ka_step_pass(step);
    return 0;
}

int CNetTest_FtpBase::announceTransfer(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    if (config.do_get != 0) {
        m_iGetFileSize = -1;
        if (exchange("SIZE", config.file_path, config.resp_timeout, run.reply) == code_size)
            m_iGetFileSize = ka_text_to_int64(ftp_reply_text(run.reply));
        if (isExecExit())
            return -1;
    }
    puts("in 13");
    if (config.do_put != 0) {
        printf("m_iPutFileSize is %" PRId64 "\n", m_iPutFileSize);
        char size[24];
        snprintf(size, sizeof(size), "%" PRId64, m_iPutFileSize);
        const int code = exchange("ALLO", size, config.resp_timeout, run.reply);
        if (code != code_ok && code != code_superfluous) {
            printf("the ctrl_retcode is %d\n", code);
            return ka_step_fail(m_eStepCtrlPut, m_bPutCmdFail);
        }
        if (isExecExit())
            return -1;
    }
    puts("in 14");
    ka_step_start(m_eStepDataConn);
    return isExecExit() ? -1 : 0;
}

int CNetTest_FtpBase::openPassiveData() {
    if (m_eStepPasv == NET_STEP_PASS) {
        m_tvDataConnStart = ka_now();
        if (connectFtpData() != 0)
            return ka_step_fail(m_eStepDataConn, m_bDataConnFail);
    } else if (m_eStepPort != NET_STEP_PASS && m_stFtpBaseConfig.do_get != 0) {
        // No data connection will ever stand, so the download would never end.
        return ka_step_fail(m_eStepDataConn, m_bDataConnFail);
    }
    if (isExecExit())
        return -1;
    puts("in 15");
    return 0;
}

int CNetTest_FtpBase::commandTransfer(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    if (config.do_get != 0) {
        const int code = exchange("RETR", config.file_path, config.resp_timeout, run.reply);
        if (code < 1 || code > code_opening_max) {
            puts("in 22");
            return ka_step_fail(m_eStepCtrlPut, m_bRetrFail);
        }
        puts("in 21");
        ka_step_pass(m_eStepCtrlPut);
        puts("in 23");
        if (isExecExit())
            return -1;
    }
    if (config.do_put != 0) {
        const int code = exchange("STOR", config.file_path, config.resp_timeout, run.reply);
        if (code != code_data_open && code != code_opening)
            return ka_step_fail(m_eStepCtrlPut, m_bPutCmdFail);
        ka_step_pass(m_eStepCtrlPut);
        if (isExecExit())
            return -1;
    }
    return 0;
}

int CNetTest_FtpBase::openActiveData() {
    if (m_eStepPort == NET_STEP_PASS) {
        m_tvDataConnStart = ka_now();
        if (acceptFtpData() != 0)
            return ka_step_fail(m_eStepDataConn, m_bDataConnFail);
    }
    if (isExecExit())
        return -1;
    puts("in 16");
    m_bDataConnFail = false;
    ka_step_pass(m_eStepDataConn);
    puts("in 17");
    // Without a direction no transfer was commanded.
    return m_eStepCtrlPut == NET_STEP_PASS ? 0 : -1;
}

int CNetTest_FtpBase::transfer(SRun& run) {
    const CTracesInTransfer timed;
    ka_step_start(m_eStepDataTran);
    startTransfer(ka_now());
    onTranExStart(&m_tvTranStart);
    puts("in 18");
    return download(run) == 0 && upload(run) == 0 ? 0 : -1;
}

int CNetTest_FtpBase::download(SRun& run) {
    if (m_stFtpBaseConfig.do_get == 0)
        return 0;
    while (!m_bTranDone) {
        if (isExecExit())
            return -1;
        if (!receivePart(run))
            break;
    }
    return 0;
}

/// One pass of the download; false when it was the last.
bool CNetTest_FtpBase::receivePart(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    int ctrl_readable = 0;
    int error = 0;
    const int received = recvFtpData(config.data_timeout, run.data.data(), config.buff_size,
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
    if (m_iGetFileSize < 0 || m_iDataRecvSize < m_iGetFileSize)
        return true;
    passTransfer(now);
    return false;
}

/// Looks whether the server reports the end of the transfer while data still flows.
void CNetTest_FtpBase::pollControl(SRun& run) {
    const int code = exchange(nullptr, nullptr, 0, run.reply);
    if (code == code_complete) {
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

/// One pass of the upload: hands over what is left of the current chunk; false when that failed.
bool CNetTest_FtpBase::sendPart(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    const auto handed_over = static_cast<int>(m_iDataSendSize % config.buff_size);
    const int sent = sendFtpData(config.data_timeout, run.data.data() + handed_over,
                                 config.buff_size - handed_over);
    const timeval now = ka_now();
    // A kernel that takes nothing for the length of a pass is asked again, as long as the time-out.
    const bool took_nothing = sent < 0 && errno == EAGAIN;
    const timeval idle = ka_tv_diff(now, ka_tv_isset(m_tvTranEnd) ? m_tvTranEnd : m_tvTranStart);
    if (took_nothing && timeval2usecs(&idle) < config.data_timeout)
        return true;
    m_tvTranEnd = now;
    if (sent < 0) {
        ka_step_fail(m_eStepDataTran, m_bSendError);
        return false;
    }
    m_iDataSendSize += sent;
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

int CNetTest_FtpBase::briefTimeout() const {
    return std::min(m_stFtpBaseConfig.resp_timeout, brief_timeout);
}

/// Hears out the server's last reply and takes leave. No step changes any more.
void CNetTest_FtpBase::closeTransfer(SRun& run) {
    ka_close_socket(m_sockeData);
    if (m_stFtpBaseConfig.do_get != 0 && !m_bTranDone) {
        if (m_bGet226Seen) {
            m_bTranDone = true;
            puts("data close(226) already received!");
        } else {
            m_bTranDone = exchange(nullptr, nullptr, m_stFtpBaseConfig.resp_timeout, run.reply) ==
                          code_complete;
        }
    }
    if (m_stFtpBaseConfig.do_put != 0 && !m_bPutDone)
        m_bPutDone = exchange(nullptr, nullptr, briefTimeout(), run.reply) == code_complete;
    exchange("QUIT", nullptr, briefTimeout(), run.reply);
    run.quitSent = true;
}

void CNetTest_FtpBase::endRun(SRun& run) {
    reportFtpTestResult(false);
    ka_close_socket(m_sockeListen);
    ka_close_socket(m_sockeData);
    if (!run.quitSent && m_sockeCtrl > 0)
        exchange("QUIT", nullptr, m_stFtpBaseConfig.resp_timeout, run.reply);
    puts("at the end");
}
