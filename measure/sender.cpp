#include "measure/sender.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>

#include "netbase/support/trace.h"

namespace {

constexpr int pass_usecs = 100000;

}  // namespace

CSender::CSender(int sock, int usecs) : m_sock(sock) {
    const timeval limit{0, std::clamp(usecs, 1, pass_usecs)};  // 0 would be no limit
    setsockopt(m_sock, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
}

ssize_t CSender::send(const char* data, size_t size) const {
    ka_write_traces();
    return ::send(m_sock, data, size, 0);
}

int64_t CSender::pending() const {
    int bytes = 0;
    ioctl(m_sock, SIOCOUTQ, &bytes);
    return bytes;
}
