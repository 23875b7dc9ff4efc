// Socket addresses of both IP families, built and read in one place.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>

/// A socket address with its length.
class CSockAddr {
  public:
    /// The unspecified address: family 0, length 0.
    CSockAddr() = default;

    /// `addr` in network byte order; of `port` the low 16 bits, in host byte order.
    static CSockAddr inet4(const in_addr& addr, int port);
    /// Flow information 0; `scope` is an interface index.
    static CSockAddr inet6(const in6_addr& addr, int port, unsigned int scope = 0);
    /// The local address of a socket; family 0 when it can't be read.
    static CSockAddr localOf(int sock);

    int family() const { return m_addr.any.sa_family; }
    const in_addr& addr4() const { return m_addr.in4.sin_addr; }
    const in6_addr& addr6() const { return m_addr.in6.sin6_addr; }
    /// The port in host byte order; 0 for a family other than the two.
    int port() const;
    using Text = std::array<char, INET6_ADDRSTRLEN>;
    /// The address as text, without its port; empty for a family other than the two.
    Text hostText() const;
    /// The same IPv4 or IPv6 address with another port.
    CSockAddr withPort(int port) const;

    const sockaddr* get() const { return &m_addr.any; }
    socklen_t length() const { return lengthOf(family()); }

    /// Bytes of a socket address of a family: 16 for AF_INET, 28 for AF_INET6, 0 for any other.
    static socklen_t lengthOf(int family);

  protected:
    union {
        sockaddr any;
        sockaddr_in in4;
        sockaddr_in6 in6;
        sockaddr_storage whole;
    } m_addr{};
};
