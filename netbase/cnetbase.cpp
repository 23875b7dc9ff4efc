#include "netbase/cnetbase.h"

#include <sys/prctl.h>

#include <cstdlib>

#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

char g_dns_addr[64] = "";

int CNetBase::DNSREQ_TRYOUT = -1;
int CNetBase::NETIPC_DBGLEVEL = -1;
int CNetBase::ETHPACKET_DBGLEVEL = -1;
int CNetBase::ADDRRES_DBGLEVEL = -1;
int CNetBase::DNSRES_DBGLEVEL = -1;

CNetBase::CNetBase(int port, unsigned int flags)
    : m_iPort(port),
      m_uFlags(flags),
      m_szBindDevName{},
      m_BindDevHWAddr{},
      m_szSysCtrlDir{},
      m_eDevType(DEV_TYPE_UNKNOWN),
      m_eNetProtoType(NET_PROTO_OFF),
      m_szProcName{} {
    const char* tryout = std::getenv("DNSREQ_TRYOUT");
    if (int64_t number = 0; tryout != nullptr && ka_scan_number(tryout, &number))
        DNSREQ_TRYOUT = ka_text_to_int(tryout);
    NETIPC_DBGLEVEL = 0;
    ETHPACKET_DBGLEVEL = 0;
    ADDRRES_DBGLEVEL = 0;
    DNSRES_DBGLEVEL = 0;
    snprintf(m_szSysCtrlDir, sizeof(m_szSysCtrlDir), "/proc/sys/net/kanet/port-%d", m_iPort);
}

CNetBase::~CNetBase() = default;

int CNetBase::init() {
    if (m_szProcName[0] != '\0')
        prctl(PR_SET_NAME, m_szProcName);
    char text[128];
    if (readSysCtrlAttr("dev-type", "type", text) == 0)
        readDeviceType(text, &m_eDevType);
    if (readSysCtrlAttr("net-type", "type", text) == 0)
        readNetprotoType(text, &m_eNetProtoType);
    ka_trace("m_szBindDevName is %s\n", m_szBindDevName);
    return 0;
}

int CNetBase::saveStatus() {
    return 0;
}
int CNetBase::debug() {
    return 0;
}
int CNetBase::onMainLoop() {
    return 0;
}
int CNetBase::eswitchAllowPort(bool) {
    return 0;
}
int CNetBase::sendMeasResult(int, int, const void*, int) {
    return 0;
}

void CNetBase::exitExec() {
    g_bNetAppExitFlag = true;
}
bool CNetBase::isExecExit() {
    return g_bNetAppExitFlag;
}
