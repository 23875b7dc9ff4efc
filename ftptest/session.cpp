// The FTP test object: construction, session record, statistics.
#include <cinttypes>
#include <cstdlib>

#include "ftptest/cnettest_ftpbase.h"
#include "netbase/support/descriptor.h"

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
        printf("speed: min=%" PRId64 ", max=%" PRId64 ", cur=%" PRId64 ", avg=%" PRId64
               ", bytes=%" PRId64 ", msecs=%" PRId64,
               m_iMinSpeed, m_iMaxSpeed, m_iCurSpeed, m_iAvgSpeed, sample.bytes, sample.msecs);
        printf("transfer all min is %" PRId64 "\n", sample.totalMsecs);
        onTranExStat(sample.first, &t);
    }
    closeSample(t, get, put);
    printf("received data is %" PRId64 ", send data is %" PRId64 "\n", m_iLastRecvSize,
           m_iLastSendSize);
    return 0;
}
