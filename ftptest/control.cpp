// The FTP control channel.
#include <cerrno>
#include <cstring>

#include "ftptest/cnettest_ftpbase.h"
#include "ftptest/ftptext.h"
#include "netbase/support/clock.h"
#include "netbase/support/wait.h"

namespace {

constexpr size_t line_size = 512;

/// A reply that goes on beyond this has no end.
constexpr int64_t reply_bytes_max = 1 << 20;

}  // namespace

int CNetTest_FtpBase::sendFtpCtrl(const char* cmd, const char* arg) {
    if (cmd == nullptr || *cmd == '\0' || m_sockeCtrl <= 0)
        return -1;
    const bool has_arg = arg != nullptr && *arg != '\0';
    char line[line_size];
    const int length =
        snprintf(line, sizeof(line), "%s%s%s\r\n", cmd, has_arg ? " " : "", has_arg ? arg : "");
    // A cut line would name another file.
    if (length < 0 || static_cast<size_t>(length) >= sizeof(line))
        return -1;
    if (send(m_sockeCtrl, line, static_cast<size_t>(length), 0) != length)
        return -1;
    m_iCtrlSendSize += length;
    return 0;
}

int CNetTest_FtpBase::recvFtpCtrl(int usecs, char* buf, int size) {
    if (buf == nullptr || size <= 0)
        return -1;
    *buf = '\0';
    if (m_sockeCtrl <= 0)
        return -1;
    const int first = readCtrl(usecs, buf, static_cast<size_t>(size) - 1);
    if (first < 0)
        return -1;
    buf[first] = '\0';

    // What has to be read beyond the first read goes here, behind the unfinished line.
    FtpReply more;
    CReplyScanner scanner;
    const char* text = buf;
    auto length = static_cast<size_t>(first);
    int64_t total = first;
    while (true) {
        size_t rest = 0;
        const EReply reply = scanner.scan(text, length, &rest);
        if (reply == EReply::complete)
            return first;
        if (reply == EReply::malformed || total > reply_bytes_max)
            return -1;
        length -= rest;
        if (length >= more.size())
            return -1;
        std::memmove(more.data(), text + rest, length);
        const int count = readCtrl(usecs, more.data() + length, more.size() - length - 1);
        if (count <= 0)
            return -1;
        text = more.data();
        length += static_cast<size_t>(count);
        total += count;
    }
}

int CNetTest_FtpBase::readCtrl(int usecs, char* buf, size_t room) {
    timeval limit;
    _usecs2timeval(usecs, &limit);
    if (ka_wait(m_sockeCtrl, POLLIN, &limit) != EWait::ready)
        return -1;
    const ssize_t count = recv(m_sockeCtrl, buf, room, 0);
    if (count > 0)
        m_iCtrlRecvSize += count;
    return static_cast<int>(count);
}

int CNetTest_FtpBase::readCtrlRetCode(char* reply) {
    int code = 0;
    for (int i = 0; i < 3; ++i) {
        if (reply[i] < '0' || reply[i] > '9')
            return -1;
        code = code * 10 + (reply[i] - '0');
    }
    return code;
}

int CNetTest_FtpBase::exchange(const char* cmd, const char* arg, int timeout, FtpReply& reply) {
    if (cmd != nullptr)
        sendFtpCtrl(cmd, arg);
    recvFtpCtrl(timeout, reply.data(), static_cast<int>(reply.size()));
    return readCtrlRetCode(reply.data());
}

bool CNetTest_FtpBase::isCtrlEnded() const {
    char next = 0;
    const ssize_t count = recv(m_sockeCtrl, &next, 1, MSG_PEEK | MSG_DONTWAIT);
    return count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
}

void CNetTest_FtpBase::setReplyReason(const char* command, const char* argument,
                                      const FtpReply& reply) {
    const std::string_view line(reply.data(), std::strcspn(reply.data(), "\r\n"));
    const char* blank = *argument != '\0' ? " " : "";
    if (!line.empty())
        setReason("%s%s%s: server answered %.*s", command, blank, argument,
                  static_cast<int>(line.size()), line.data());
    else if (isCtrlEnded())
        setReason("%s%s%s: server closed the connection", command, blank, argument);
    else
        setReason("%s%s%s: no answer within %g s", command, blank, argument,
                  m_stFtpBaseConfig.resp_timeout * 1e-6);
}
