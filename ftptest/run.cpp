// The run of an FTP test: control connection, login, data mode, transfer command, data connection,
// transfer (see transfer.cpp), close-down.
#include <algorithm>
#include <cinttypes>

#include "ftptest/ftpcodes.h"
#include "ftptest/ftprun.h"
#include "ftptest/ftptext.h"
#include "measure/netstep.h"
#include "measure/timedspan.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

namespace {

constexpr int brief_timeout = 1000000;

}  // namespace

int CNetTest_FtpBase::onMainLoop() {
    SRun run;
    if (beginRun(run) == 0 && prepareTransfer(run) == 0 && transfer(run) == 0)
        closeTransfer(run);
    endRun(run);
    return 0;
}

int CNetTest_FtpBase::prepareTransfer(SRun& run) {
    ka_flush_traces();
    const CTimedSpan timed;
    const bool ready = openControl(run) == 0 && login(run) == 0 && chooseDataMode() == 0 &&
                       announceTransfer(run) == 0 && openPassiveData() == 0 &&
                       commandTransfer(run) == 0 && openActiveData() == 0;
    return ready ? 0 : -1;
}

int CNetTest_FtpBase::beginRun(SRun& run) {
    if (m_eStepPrepare != NET_STEP_PASS || isExecExit())
        return -1;
    const auto size =
        static_cast<size_t>(std::max(m_stFtpBaseConfig.buff_size, ftp_default_buff_size));
    if (run.data.allocate(size))
        return 0;
    setReason("not enough memory");
    return -1;
}

int CNetTest_FtpBase::failControl(enet_step_type& step, bool& cause) {
    m_tvCtrlFail = ka_now();
    return ka_step_fail(step, cause);
}

int CNetTest_FtpBase::openControl(SRun& run) {
    ka_step_start(m_eStepCtrlConn);
    ka_trace("in 6\n");
    m_tvCtrlConnStart = ka_now();
    if (connectFtpCtrl() != 0)
        return failControl(m_eStepCtrlConn, m_bCtrlConnFail);
    ka_trace("in 7\n");
    if (isExecExit())
        return -1;
    ka_trace("in 8\n");
    if (exchange(nullptr, nullptr, m_stFtpBaseConfig.resp_timeout, run.reply) != FTP_READY) {
        setReplyReason("greeting", "", run.reply);
        return failControl(m_eStepCtrlConn, m_bGreetFail);
    }
    ka_step_pass(m_eStepCtrlConn);
    m_tvCtrlConnEnd = ka_now();
    ka_trace("in 9\n");
    return isExecExit() ? -1 : 0;
}

int CNetTest_FtpBase::login(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    ka_trace("in 10\n");
    ka_step_start(m_eStepCtrlAuth);
    bool* refused = &m_bUserFail;
    int code = exchange("USER", config.username, config.resp_timeout, run.reply);
    if (code == FTP_NEED_PASSWORD) {
        refused = &m_bPassFail;
        code = exchange("PASS", config.password, config.resp_timeout, run.reply);
    }
    if (code != FTP_LOGGED_IN) {
        setReplyReason("login", "", run.reply);
        return failControl(m_eStepCtrlAuth, *refused);
    }
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
    ka_trace("in 11\n");
    if (pasv || port) {
        // Active mode replaces a passive mode that is refused.
        const bool chosen = (pasv && settle(m_eStepPasv, onPassiveMode()) == 0) ||
                            (port && settle(m_eStepPort, onActiveMode()) == 0);
        if (!chosen)
            return -1;
    }
    ka_step_pass(m_eStepCtrlAuth);
    m_szReason[0] = '\0';  // of a passive mode that active mode replaces
    ka_trace("in 12\n");
    return 0;
}

int CNetTest_FtpBase::settle(enet_step_type& step, int result) {
    if (result != 0)
        return ka_step_fail(step);
    ka_step_pass(step);
    return 0;
}

int CNetTest_FtpBase::announceTransfer(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    if (config.do_get != 0) {
        m_iGetFileSize = -1;
        if (exchange("SIZE", config.file_path, config.resp_timeout, run.reply) == FTP_FILE_STATUS)
            m_iGetFileSize = ka_text_to_int64(ftp_reply_text(run.reply.data()));
        if (isExecExit())
            return -1;
    }
    ka_trace("in 13\n");
    if (config.do_put != 0) {
        ka_trace("m_iPutFileSize is %" PRId64 "\n", m_iPutFileSize);
        char size[24];
        snprintf(size, sizeof(size), "%" PRId64, m_iPutFileSize);
        const int code = exchange("ALLO", size, config.resp_timeout, run.reply);
        if (!ftp_accepts_allo(code)) {
            ka_trace("the ctrl_retcode is %d\n", code);
            setReplyReason("ALLO", size, run.reply);
            return ka_step_fail(m_eStepCtrlPut, m_bPutCmdFail);
        }
        if (isExecExit())
            return -1;
    }
    ka_trace("in 14\n");
    ka_step_start(m_eStepDataConn);
    return isExecExit() ? -1 : 0;
}

int CNetTest_FtpBase::openPassiveData() {
    if (m_eStepPasv == NET_STEP_PASS) {
        m_tvDataConnStart = ka_now();
        if (connectFtpData() != 0)
            return ka_step_fail(m_eStepDataConn, m_bDataConnFail);
    } else if (m_eStepPort != NET_STEP_PASS && m_stFtpBaseConfig.do_get != 0) {
        // There is no data connection, so the download would never end.
        setReason("neither a passive nor an active data connection was asked for");
        return ka_step_fail(m_eStepDataConn, m_bDataConnFail);
    }
    if (isExecExit())
        return -1;
    ka_trace("in 15\n");
    return 0;
}

int CNetTest_FtpBase::commandTransfer(SRun& run) {
    const SFtpBaseConfig& config = m_stFtpBaseConfig;
    if (config.do_get != 0) {
        const int code = exchange("RETR", config.file_path, config.resp_timeout, run.reply);
        if (!ftp_accepts_retr(code)) {
            ka_trace("in 22\n");
            setReplyReason("RETR", config.file_path, run.reply);
            return ka_step_fail(m_eStepCtrlPut, m_bRetrFail);
        }
        ka_trace("in 21\n");
        ka_step_pass(m_eStepCtrlPut);
        ka_trace("in 23\n");
        if (isExecExit())
            return -1;
    }
    if (config.do_put != 0) {
        const int code = exchange("STOR", config.file_path, config.resp_timeout, run.reply);
        if (!ftp_accepts_stor(code)) {
            setReplyReason("STOR", config.file_path, run.reply);
            return ka_step_fail(m_eStepCtrlPut, m_bPutCmdFail);
        }
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
    ka_trace("in 16\n");
    m_bDataConnFail = false;
    ka_step_pass(m_eStepDataConn);
    ka_trace("in 17\n");
    // Without a direction no transfer was commanded.
    return m_eStepCtrlPut == NET_STEP_PASS ? 0 : -1;
}

int CNetTest_FtpBase::briefTimeout() const {
    return std::min(m_stFtpBaseConfig.resp_timeout, brief_timeout);
}

/// Reads the server's last reply and sends QUIT. No step changes any more.
void CNetTest_FtpBase::closeTransfer(SRun& run) {
    ka_close_socket(m_sockeData);
    if (m_stFtpBaseConfig.do_get != 0 && !m_bTranDone) {
        if (m_bGet226Seen) {
            m_bTranDone = true;
            ka_trace("data close(226) already received!\n");
        } else {
            m_bTranDone = exchange(nullptr, nullptr, m_stFtpBaseConfig.resp_timeout, run.reply) ==
                          FTP_COMPLETE;
        }
    }
    if (m_stFtpBaseConfig.do_put != 0 && !m_bPutDone)
        m_bPutDone = exchange(nullptr, nullptr, briefTimeout(), run.reply) == FTP_COMPLETE;
    exchange("QUIT", nullptr, briefTimeout(), run.reply);
    run.quitSent = true;
}

void CNetTest_FtpBase::endRun(SRun& run) {
    reportFtpTestResult(false);
    ka_close_socket(m_sockeListen);
    ka_close_socket(m_sockeData);
    if (!run.quitSent && m_sockeCtrl > 0)
        exchange("QUIT", nullptr, m_stFtpBaseConfig.resp_timeout, run.reply);
    ka_trace("at the end\n");
}
