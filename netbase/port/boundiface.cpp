// What the kernel and the port control directory say about the bound device.
#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "netbase/cnetbase.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/store.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

namespace {

constexpr size_t hwaddr_size = 6;

in_addr address_of(const sockaddr& addr) {
    sockaddr_in in4;
    std::memcpy(&in4, &addr, sizeof(in4));
    return in4.sin_addr;
}

/// One line of /proc/net/if_inet6.
struct SInet6Line {
    in6_addr addr;
    unsigned int iface;
    int prefixlen;
};

bool parse_inet6_line(const char* line, SInet6Line* parsed) {
    std::array<std::array<char, 5>, 8> g;
    std::array<char, 21> device;
    unsigned int prefixlen = 0;
    unsigned int scope = 0;
    unsigned int flags = 0;
    const int fields =
        // NOLINTNEXTLINE(cert-err34-c): no number is wider than its type
        sscanf(line, "%4s%4s%4s%4s%4s%4s%4s%4s %08x %02x %02x %02x %20s\n", g[0].data(),
               g[1].data(), g[2].data(), g[3].data(), g[4].data(), g[5].data(), g[6].data(),
               g[7].data(), &parsed->iface, &prefixlen, &scope, &flags, device.data());
    if (fields != 13)
        return false;
    std::array<char, INET6_ADDRSTRLEN> text;
    snprintf(text.data(), text.size(), "%s:%s:%s:%s:%s:%s:%s:%s", g[0].data(), g[1].data(),
             g[2].data(), g[3].data(), g[4].data(), g[5].data(), g[6].data(), g[7].data());
    parsed->prefixlen = static_cast<int>(prefixlen);
    return inet_pton(AF_INET6, text.data(), &parsed->addr) == 1;
}

/// Finds the first address of the interface that other networks can reach.
bool find_global_addr(FILE* table, unsigned int iface, SInet6Line* found) {
    std::array<char, 128> line;
    while (fgets(line.data(), static_cast<int>(line.size()), table) != nullptr) {
        if (parse_inet6_line(line.data(), found) && found->iface == iface &&
            !IN6_IS_ADDR_LINKLOCAL(&found->addr) && !IN6_IS_ADDR_SITELOCAL(&found->addr))
            return true;
    }
    return false;
}

/// C libraries differ in the type of ioctl's request.
template <typename Request>
int call_ioctl(int (*call)(int, Request, ...), int fd, unsigned long request, ifreq* answer) {
    return call(fd, static_cast<Request>(request), answer);
}

}  // namespace

char* CNetBase::getBindDevName() {
    return m_szBindDevName;
}

unsigned int CNetBase::getBindDevIface() const {
    char name[IFNAMSIZ];
    ka_copy_text(name, m_szBindDevName);
    name[std::string_view(name).substr(0, std::string_view(name).find(':')).size()] = '\0';
    return if_nametoindex(name);
}

bool CNetBase::queryBindDev(unsigned long request, ifreq* answer) const {
    const CDescriptor sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    *answer = {};
    ka_copy_text(answer->ifr_name, m_szBindDevName);
    return sock.isOpen() && call_ioctl(ioctl, sock.get(), request, answer) == 0;
}

const unsigned char* CNetBase::getBindDevHWAddr(bool refresh) {
    unsigned char* const end = m_BindDevHWAddr + hwaddr_size;
    if (refresh)
        std::fill(m_BindDevHWAddr, end, static_cast<unsigned char>(0));
    ifreq answer;
    if (std::all_of(m_BindDevHWAddr, end, [](unsigned char b) { return b == 0; }) &&
        queryBindDev(SIOCGIFHWADDR, &answer))
        std::memcpy(m_BindDevHWAddr, answer.ifr_hwaddr.sa_data, hwaddr_size);
    return m_BindDevHWAddr;
}

int CNetBase::getINET4Info(in_addr* addr, in_addr* mask, in_addr* gw) {
    for (in_addr* out : {addr, mask, gw})
        ka_store(in_addr{}, out);

    ifreq dev_addr;
    ifreq dev_mask;
    in_addr gateway{};
    if (!queryBindDev(SIOCGIFADDR, &dev_addr) || !queryBindDev(SIOCGIFNETMASK, &dev_mask) ||
        readConfINET4Addr("inet4_gw", &gateway) != 0)
        return -1;

    const in_addr own = address_of(dev_addr.ifr_addr);
    ka_store(own, addr);
    ka_store(address_of(dev_mask.ifr_netmask), mask);
    ka_store(gateway, gw);
    char text[INET_ADDRSTRLEN];
    writeINET4Addr(&own, text);
    ka_trace("the ip_addr is %s\n", text);
    return 0;
}

int CNetBase::isINET4Connected() {
    in_addr addr{};
    getINET4Info(&addr, nullptr, nullptr);
    return addr.s_addr != INADDR_ANY ? 1 : 0;
}

int CNetBase::getINET6Info(in6_addr* addr, int* prefixlen, in6_addr* gw) {
    ka_store(in6addr_any, addr);
    ka_store(0, prefixlen);
    ka_store(in6addr_any, gw);

    const CStream table(fopen("/proc/net/if_inet6", "re"));
    if (table == nullptr)
        return -1;
    SInet6Line line{};
    const bool found = find_global_addr(table.get(), getBindDevIface(), &line);
    in6_addr gateway{};
    if (readConfINET6Addr("inet6_gw", &gateway) != 0)
        return -1;

    ka_store(gateway, gw);
    if (!found)
        return -1;
    ka_store(line.addr, addr);
    ka_store(line.prefixlen, prefixlen);
    return 0;
}

int CNetBase::isINET6Connected() {
    in6_addr addr{};
    getINET6Info(&addr, nullptr, nullptr);
    return IN6_IS_ADDR_UNSPECIFIED(&addr) ? 0 : 1;
}
