// The FTP data channel.
#include <arpa/inet.h>

#include <cerrno>
#include <cstring>

#include "ftptest/cnettest_ftpbase.h"
#include "ftptest/ftpcodes.h"
#include "ftptest/ftptext.h"
#include "measure/netstep.h"
#include "measure/receiver.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/wait.h"

namespace {

constexpr timeval accept_wait = {5, 0};
constexpr int listen_backlog = 1;

/// Waits for a socket to become readable, taking up an interrupted wait again with the time left.
bool wait_connection(int sock) {
    CDeadline deadline(accept_wait);
    timeval left;
    EWait waited = EWait::interrupted;
    while (waited == EWait::interrupted && !CNetBase::isExecExit() && deadline.timeLeft(&left))
        waited = ka_wait(sock, POLLIN, &left);
    return waited == EWait::ready;
}

}  // namespace

int CNetTest_FtpBase::onPassiveMode() {
    FtpReply reply{};
    const int code = exchange("PASV", nullptr, m_stFtpBaseConfig.resp_timeout, reply);
    std::array<unsigned int, 6> n{};
    if (code != FTP_PASSIVE || !ftp_parse_pasv(ftp_reply_text(reply.data()), &n)) {
        setReplyReason("PASV", "", reply);
        return ka_step_fail(m_eStepCtrlAuth, m_bPasvFail);
    }
    m_in4DataAddr.s_addr = htonl(n[0] << 24 | n[1] << 16 | n[2] << 8 | n[3]);
    m_iDataPort = static_cast<int>(n[4] * 256 + n[5]);
    return 0;
}

int CNetTest_FtpBase::onActiveMode() {
    if (listenForData() != 0)
        setReason("no socket to listen on: %s", std::strerror(errno));
    else if (announceListener() == 0)
        return 0;
    ka_close_socket(m_sockeListen);
    return -1;
}

int CNetTest_FtpBase::listenForData() {
    const CSockAddr local = CSockAddr::localOf(m_sockeCtrl);
    if (local.family() != AF_INET && local.family() != AF_INET6)
        return -1;
    const int family = m_stFtpBaseConfig.use_inet6 != 0 ? AF_INET6 : AF_INET;
    m_sockeListen = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_sockeListen < 0)
        return -1;
    const int on = 1;
    setsockopt(m_sockeListen, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    const CSockAddr any_port = local.withPort(0);
    if (bind(m_sockeListen, any_port.get(), any_port.length()) != 0)
        return -1;
    return listen(m_sockeListen, listen_backlog);
}

int CNetTest_FtpBase::announceListener() {
    FtpReply reply{};
    const CSockAddr local = CSockAddr::localOf(m_sockeListen);
    const int timeout = m_stFtpBaseConfig.resp_timeout;
    int code = -1;
    if (local.family() == AF_INET) {
        char argument[25] = "";
        ip_address_to_port_repr(local.addr4(), local.port(), argument, sizeof(argument));
        code = exchange("PORT", argument, timeout, reply);
    } else if (local.family() == AF_INET6) {
        code =
            exchange("EPRT", ftp_eprt_argument(local.addr6(), local.port()).data(), timeout, reply);
    } else {
        return -1;
    }
    if (code == FTP_OK)
        return 0;
    setReplyReason("PORT", "", reply);
    return ka_step_fail(m_eStepCtrlAuth, m_bPortFail);
}

int CNetTest_FtpBase::connectFtpData() {
    const bool inet6 = m_stFtpBaseConfig.use_inet6 != 0;
    const CSockAddr server = inet6 ? CSockAddr::inet6(m_in6DataAddr, m_iDataPort)
                                   : CSockAddr::inet4(m_in4DataAddr, m_iDataPort);
    m_sockeData = openFamilySocket(server.family(), SOCK_STREAM);
    return connectSocket(m_sockeData, server, m_stFtpBaseConfig.data_conn_timeout);
}

int CNetTest_FtpBase::acceptFtpData() {
    if (m_sockeListen < 0)
        return -1;
    if (wait_connection(m_sockeListen)) {
        m_sockeData = accept4(m_sockeListen, nullptr, nullptr, SOCK_CLOEXEC);
        if (m_sockeData >= 0)
            return 0;
    }
    setReason("server did not connect within %ld s", static_cast<long>(accept_wait.tv_sec));
    ka_close_socket(m_sockeListen);
    return -1;
}

int CNetTest_FtpBase::sendFtpData(int usecs, const char* buf, int len) {
    if (buf == nullptr || len <= 0 || m_sockeData <= 0)
        return -1;
    timeval limit;
    _usecs2timeval(usecs, &limit);
    const EWait waited = ka_wait(m_sockeData, POLLOUT, &limit);
    if (waited == EWait::timeout)
        errno = ETIMEDOUT;
    if (waited != EWait::ready)
        return -1;
    return static_cast<int>(send(m_sockeData, buf, static_cast<size_t>(len), 0));
}

int CNetTest_FtpBase::recvFtpData(int usecs, char* buf, int len, int* pbCtrlReadable,
                                  int* pbError) {
    for (int* mark : {pbCtrlReadable, pbError}) {
        if (mark != nullptr)
            *mark = 0;
    }
    if (buf == nullptr || len <= 0 || m_sockeData <= 0)
        return -1;
    CReceiver receiver(m_sockeData, buf, static_cast<size_t>(len), CReceiver::EUse::keep);
    return receiveData(receiver, usecs, pbCtrlReadable, pbError);
}

int CNetTest_FtpBase::receiveData(CReceiver& receiver, int usecs, int* pbCtrlReadable,
                                  int* pbError) {
    timeval limit;
    _usecs2timeval(usecs, &limit);
    CReceiver::SWatch ctrl{m_sockeCtrl, isIgnore226_onDataRecv(), false};
    ssize_t count = -1;
    const EWait waited =
        receiver.receive(limit, &count, pbCtrlReadable != nullptr ? &ctrl : nullptr);
    const bool harmless =
        waited == EWait::ready ? errno == EINTR || errno == EAGAIN : waited == EWait::interrupted;
    if (waited == EWait::timeout)
        errno = ETIMEDOUT;
    if (pbCtrlReadable != nullptr)
        *pbCtrlReadable = ctrl.isReadable ? 1 : 0;
    if (pbError != nullptr)
        *pbError = count < 0 && !harmless ? 1 : 0;
    return static_cast<int>(count);
}
