// The FTP test object: construction, the server it is about, session record, statistics.
#include <algorithm>
#include <cinttypes>
#include <climits>
#include <cstdlib>

#include "ftptest/cnettest_ftpbase.h"
#include "measure/netstep.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/trace.h"

namespace {

/// The settings' size, counted as 32 bits without sign where it fits int.
int64_t bytes_to_upload(int64_t put_size) {
    return put_size > INT_MAX ? put_size
                              : static_cast<uint32_t>(std::max<int64_t>(put_size, INT_MIN));
}

}  // namespace

int CNetTest_FtpBase::FTPTEST_DBGLEVEL = -1;

CNetTest_FtpBase::CNetTest_FtpBase(int port, unsigned int flags)
    : CNetTest(port, flags),
      m_stFtpBaseConfig{},
      m_sockeCtrl(-1),
      m_sockeData(-1),
      m_sockeListen(-1) {
    FTPTEST_DBGLEVEL = 0;
    [[maybe_unused]] const int status = std::system("touch /tmp/ftprst\n");  // NOLINT(cert-env33-c)
}

CNetTest_FtpBase::~CNetTest_FtpBase() {
    ka_close_socket(m_sockeData);
    ka_close_socket(m_sockeCtrl);
    ka_close_socket(m_sockeListen);
}

int CNetTest_FtpBase::applyTestSetting(const void*, int) {
    return -1;
}

int CNetTest_FtpBase::startTest() {
    SFtpBaseConfig& config = m_stFtpBaseConfig;
    for (int* timeout : {&config.ctrl_conn_timeout, &config.data_conn_timeout}) {
        if (*timeout <= 0)
            *timeout = -1;
    }
    if (config.buff_size <= 0)
        config.buff_size = ftp_default_buff_size;
    resetFtpSession();
    ka_step_start(m_eStepPrepare);
    m_tvTestStart = ka_now();
    reportFtpTestResult(true);
    if (config.do_put != 0)
        m_iPutFileSize = bytes_to_upload(config.put_size);
    if (isExecExit())
        return 0;
    if (resolveServer() != 0) {
        setLookupReason(config.host_name);
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

int CNetTest_FtpBase::connectFtpCtrl() {
    const bool inet6 = m_stFtpBaseConfig.use_inet6 != 0;
    const CSockAddr server = inet6 ? CSockAddr::inet6(m_in6CtrlAddr, m_iCtrlPort)
                                   : CSockAddr::inet4(m_in4CtrlAddr, m_iCtrlPort);
    ka_close_socket(m_sockeCtrl);
    m_sockeCtrl = openFamilySocket(server.family(), SOCK_STREAM);
    char text[INET_ADDRSTRLEN];
    writeINET4Addr(&m_in4CtrlAddr, text);
    ka_trace("m_sockeCtrl is %d\n", m_sockeCtrl);
    ka_trace("m_iCtrlPort is %d\n", m_iCtrlPort);
    ka_trace("m_stFtpBaseConfig.use_inet6  is %d\n", m_stFtpBaseConfig.use_inet6);
    ka_trace("m_in4CtrlAddr is %s\n", text);
    return connectSocket(m_sockeCtrl, server, m_stFtpBaseConfig.ctrl_conn_timeout);
}

int CNetTest_FtpBase::connectSocket(int& sock, const CSockAddr& server, int timeout) {
    if (connectOrClose(sock, server, timeout) == 0)
        return 0;
    setConnectReason(server, timeout);
    return -1;
}

int CNetTest_FtpBase::stopTest() {
    return 0;
}
bool CNetTest_FtpBase::isIgnore226_onDataRecv() {
    return m_iGetFileSize >= 0;
}
int CNetTest_FtpBase::onFtpResetEx() {
    return 0;
}
int CNetTest_FtpBase::onTranExStart(const timeval*) {
    return 0;
}
int CNetTest_FtpBase::onTranExStat(bool, const timeval*) {
    return 0;
}

int CNetTest_FtpBase::resetFtpSession() {
    static_cast<SFtpSession&>(*this) = SFtpSession();
    onFtpResetEx();
    return 0;
}

int CNetTest_FtpBase::ftpTranStat(const timeval* now) {
    const timeval t = sampleTime(now);
    const bool get = m_stFtpBaseConfig.do_get != 0;
    const bool put = m_stFtpBaseConfig.do_put != 0;
    SSpeedSample sample;
    if (takeSample(t, get, put, &sample)) {
        ka_trace("speed: min=%" PRId64 ", max=%" PRId64 ", cur=%" PRId64 ", avg=%" PRId64
                 ", bytes=%" PRId64 ", msecs=%" PRId64,
                 m_iMinSpeed, m_iMaxSpeed, m_iCurSpeed, m_iAvgSpeed, sample.bytes, sample.msecs);
        ka_trace("transfer all min is %" PRId64 "\n", sample.totalMsecs);
        onTranExStat(sample.first, &t);
    }
    closeSample(t, get, put);
    ka_trace("received data is %" PRId64 ", send data is %" PRId64 "\n", m_iLastRecvSize,
             m_iLastSendSize);
    return 0;
}
