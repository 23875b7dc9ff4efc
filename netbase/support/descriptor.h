// Owners of descriptors and streams.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

/// Local owner of a descriptor: closes it on every return, unless release() handed it out. Closing
/// keeps errno, so that a caller still sees why an operation failed.
class CDescriptor {
  public:
    explicit CDescriptor(int fd) : m_fd(fd) {}
    CDescriptor(CDescriptor&& other) noexcept : m_fd(other.release()) {}
    CDescriptor& operator=(CDescriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~CDescriptor() {
        const int reason = errno;
        if (m_fd >= 0)
            close(m_fd);
        errno = reason;
    }

    bool isOpen() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); }

  protected:
    int m_fd;
};

/// Closes a socket member when it is greater than 0 and sets it to -1, which means closed. Keeps
/// errno.
inline void ka_close_socket(int& sock) {
    if (sock > 0)
        CDescriptor closing(sock);
    sock = -1;
}

struct CStreamCloser {
    void operator()(FILE* stream) const { fclose(stream); }
};

/// Local owner of a standard stream.
using CStream = std::unique_ptr<FILE, CStreamCloser>;
