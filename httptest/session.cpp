// The HTTP test object: construction, the server it is about, session record, statistics.
#include <cstdlib>

#include "httptest/cnettest_httpbase.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/textvalue.h"

bool g_bhttps = false;
char g_szHostReq[512] = "";

int CNetTest_HttpBase::HTTPTEST_DBGLEVEL = -1;

CNetTest_HttpBase::CNetTest_HttpBase(int port, unsigned int flags)
    : CNetTest(port, flags), m_stHttpBaseConfig{}, m_sockeHttp(-1) {
    HTTPTEST_DBGLEVEL = 0;
    [[maybe_unused]] const int status =
        std::system("touch /tmp/httpdata\n");  // NOLINT(cert-env33-c)
}

CNetTest_HttpBase::~CNetTest_HttpBase() {
    ka_close_socket(m_sockeHttp);
}

int CNetTest_HttpBase::applyTestSetting(const void*, int) {
    return -1;
}

int CNetTest_HttpBase::startTest() {
    SHttpBaseConfig& config = m_stHttpBaseConfig;
    if (config.conn_timeout <= 0)
        config.conn_timeout = -1;
    for (timeval* timeout : {&config.head_timeout, &config.data_timeout}) {
        if (!ka_tv_isset(*timeout))
            *timeout = {60, 0};
    }
    config.buff_size = 524288;
    m_sockeHttp = -1;
    return 0;
}

int CNetTest_HttpBase::resolveServer() {
    return m_stHttpBaseConfig.use_inet6 != 0
               ? resolveIn6Addr(m_szHostReq, &m_in6HttpAddr, &m_tvDnsStart, &m_tvDnsEnd)
               : resolveIn4Addr(m_szHostReq, &m_in4HttpAddr, &m_tvDnsStart, &m_tvDnsEnd);
}

int CNetTest_HttpBase::connectHttpServ() {
    const bool inet6 = m_stHttpBaseConfig.use_inet6 != 0;
    const CSockAddr server = inet6 ? CSockAddr::inet6(m_in6HttpAddr, m_iHttpPort)
                                   : CSockAddr::inet4(m_in4HttpAddr, m_iHttpPort);
    m_sockeHttp = openFamilySocket(server.family(), SOCK_STREAM);
    if (connectOrClose(m_sockeHttp, server, m_stHttpBaseConfig.conn_timeout) == 0)
        return 0;
    setConnectReason(server, m_stHttpBaseConfig.conn_timeout);
    return -1;
}

int CNetTest_HttpBase::stopTest() {
    ka_close_socket(m_sockeHttp);
    return 0;
}

int CNetTest_HttpBase::onHttpResetEx(const char*) {
    return 0;
}
int CNetTest_HttpBase::onTranExStart(const timeval*) {
    return 0;
}
int CNetTest_HttpBase::onTranExStat(bool, const timeval*) {
    return 0;
}

int CNetTest_HttpBase::resetHttpSession(const char* url) {
    SHttpSession fresh;
    if (url != nullptr)  // it may lie in the session that is being cleared
        ka_copy_text(fresh.m_szUrlReq, url);
    static_cast<SHttpSession&>(*this) = fresh;
    onHttpResetEx(url);
    return 0;
}

int CNetTest_HttpBase::httpTranStat(const timeval* now) {
    const timeval t = sampleTime(now);
    const bool get = m_stHttpBaseConfig.do_get != 0;
    const bool put = m_stHttpBaseConfig.do_put != 0;
    SSpeedSample sample;
    if (takeSample(t, get, put, &sample))
        onTranExStat(sample.first, &t);
    closeSample(t, get, put);
    return 0;
}
