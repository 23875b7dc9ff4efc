// Sockets tied to the port's device, and the bounded TCP connect.
#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "netbase/cnetbase.h"
#include "netbase/port/sockaddr.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/wait.h"

namespace {

/// Keeps a socket non-blocking for as long as it lives, if it was blocking.
class CNonBlocking {
  public:
    explicit CNonBlocking(int sock) : m_sock(sock), m_flags(fcntl(sock, F_GETFL)) {
        m_switched = m_flags != -1 && (m_flags & O_NONBLOCK) == 0 &&
                     fcntl(sock, F_SETFL, m_flags | O_NONBLOCK) == 0;
    }
    CNonBlocking(const CNonBlocking&) = delete;
    CNonBlocking& operator=(const CNonBlocking&) = delete;
    ~CNonBlocking() {
        if (m_switched)
            fcntl(m_sock, F_SETFL, m_flags);
    }

  protected:
    int m_sock;
    int m_flags;
    bool m_switched;
};

/// Tells a connected socket from one whose attempt failed, which becomes writable just the same.
/// An attempt refused on the spot may leave no pending error, hence the look at the peer; `reason`
/// is what connect said then.
bool is_connected(int sock, int reason) {
    int pending = 0;
    socklen_t length = sizeof(pending);
    if (getsockopt(sock, SOL_SOCKET, SO_ERROR, &pending, &length) != 0)
        return false;
    if (pending != 0) {
        errno = pending;
        return false;
    }
    sockaddr_storage peer;
    length = sizeof(peer);
    if (getpeername(sock, reinterpret_cast<sockaddr*>(&peer), &length) == 0)
        return true;
    errno = reason;
    return false;
}

bool bind_to(int sock, const CSockAddr& local) {
    const int on = 1;
    setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    return bind(sock, local.get(), local.length()) == 0;
}

}  // namespace

int CNetBase::openTiedSocket(int family, int type, int protocol) const {
    const int sock = socket(family, type | SOCK_CLOEXEC, protocol);
    // An empty name asks for no device.
    if (sock >= 0)
        setsockopt(sock, SOL_SOCKET, SO_BINDTODEVICE, m_szBindDevName,
                   static_cast<socklen_t>(std::strlen(m_szBindDevName)));
    return sock;
}

int CNetBase::openINET4Socket(int type, int protocol, int port) {
    CDescriptor sock(openTiedSocket(AF_INET, type, protocol));
    if (sock.isOpen() && port > 0) {
        in_addr addr{};
        getINET4Info(&addr, nullptr, nullptr);
        if (!bind_to(sock.get(), CSockAddr::inet4(addr, port)))
            return -1;
    }
    return sock.release();
}

int CNetBase::openINET6Socket(int type, int protocol, int port) {
    CDescriptor sock(openTiedSocket(AF_INET6, type, protocol));
    if (sock.isOpen() && port > 0) {
        in6_addr addr{};
        getINET6Info(&addr, nullptr, nullptr);
        if (!bind_to(sock.get(), CSockAddr::inet6(addr, port)))
            return -1;
    }
    return sock.release();
}

int CNetBase::openFamilySocket(int family, int type) {
    return family == AF_INET6 ? openINET6Socket(type, 0, 0) : openINET4Socket(type, 0, 0);
}

int CNetBase::connectTCP(int sock, const sockaddr* addr, int timeout) {
    if (sock <= 0 || addr == nullptr)
        return -1;
    const socklen_t length = CSockAddr::lengthOf(addr->sa_family);
    if (length == 0)
        return -1;
    if (timeout < 0)
        return connect(sock, addr, length) == 0 ? 0 : -1;

    const CNonBlocking mode(sock);
    if (connect(sock, addr, length) == 0)
        return 0;
    const int reason = errno;
    timeval limit;
    _usecs2timeval(timeout, &limit);
    return ka_wait(sock, POLLOUT, &limit) == EWait::ready && is_connected(sock, reason) ? 0 : -1;
}

int CNetBase::connectOrClose(int& sock, const CSockAddr& addr, int timeout) {
    if (sock >= 0 && connectTCP(sock, addr.get(), timeout) == 0)
        return 0;
    ka_close_socket(sock);
    return -1;
}
