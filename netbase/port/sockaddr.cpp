#include "netbase/port/sockaddr.h"

#include <arpa/inet.h>

CSockAddr CSockAddr::inet4(const in_addr& addr, int port) {
    CSockAddr result;
    result.m_addr.whole = {};
    result.m_addr.in4.sin_family = AF_INET;
    result.m_addr.in4.sin_port = htons(static_cast<uint16_t>(port));
    result.m_addr.in4.sin_addr = addr;
    return result;
}

CSockAddr CSockAddr::inet6(const in6_addr& addr, int port, unsigned int scope) {
    CSockAddr result;
    result.m_addr.whole = {};
    result.m_addr.in6.sin6_family = AF_INET6;
    result.m_addr.in6.sin6_port = htons(static_cast<uint16_t>(port));
    result.m_addr.in6.sin6_addr = addr;
    result.m_addr.in6.sin6_scope_id = scope;
    return result;
}

CSockAddr CSockAddr::localOf(int sock) {
    CSockAddr result;
    result.m_addr.whole = {};
    socklen_t length = sizeof(result.m_addr);
    if (getsockname(sock, &result.m_addr.any, &length) != 0)
        result.m_addr.whole = {};
    return result;
}

int CSockAddr::port() const {
    if (family() == AF_INET)
        return ntohs(m_addr.in4.sin_port);
    return family() == AF_INET6 ? ntohs(m_addr.in6.sin6_port) : 0;
}

CSockAddr::Text CSockAddr::hostText() const {
    Text text{};
    const void* addr = family() == AF_INET ? static_cast<const void*>(&addr4()) : &addr6();
    inet_ntop(family(), addr, text.data(), text.size());
    return text;
}

CSockAddr CSockAddr::withPort(int port) const {
    return family() == AF_INET ? inet4(addr4(), port)
                               : inet6(addr6(), port, m_addr.in6.sin6_scope_id);
}

socklen_t CSockAddr::lengthOf(int family) {
    switch (family) {
        case AF_INET:
            return sizeof(sockaddr_in);
        case AF_INET6:
            return sizeof(sockaddr_in6);
        default:
            return 0;
    }
}
