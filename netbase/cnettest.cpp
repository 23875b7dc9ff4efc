#include "netbase/cnettest.h"

#include <arpa/inet.h>

#include <cstring>

#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/store.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

namespace {

struct SLookupTimes {
    timeval start{};
    timeval end{};
};

in_addr look_up_in4(const char* host, SLookupTimes* times) {
    in_addr addr{};
    ka_flush_traces();
    times->start = ka_now();
    const hostent* found = gethostbyname(host);
    times->end = ka_now();
    if (found != nullptr && found->h_addrtype == AF_INET && found->h_addr_list[0] != nullptr)
        std::memcpy(&addr, found->h_addr_list[0], sizeof(addr));
    return addr;
}

/// The first IPv6 address of a record, which may list IPv4 addresses beside it.
in6_addr first_in6(const hostent* found) {
    in6_addr addr{};
    for (char** entry = found != nullptr ? found->h_addr_list : nullptr;
         entry != nullptr && *entry != nullptr; ++entry) {
        if (kadns_addr_length(*entry) == sizeof(addr)) {
            std::memcpy(&addr, *entry, sizeof(addr));
            break;
        }
    }
    return addr;
}

}  // namespace

CNetTest::CNetTest(int port, unsigned int flags) : CNetBase(port, flags) {
    ka_copy_text(m_szProcName, "net-test");
}

CNetTest::~CNetTest() = default;

int CNetTest::init() {
    CNetBase::init();
    return 0;
}

int CNetTest::applyTestSetting(const void*, int) {
    return 0;
}
int CNetTest::startTest() {
    return 0;
}
int CNetTest::stopTest() {
    return 0;
}

int CNetTest::resolveIn4Addr(const char* host, in_addr* addr, timeval* tvStart, timeval* tvEnd) {
    ka_trace("host name is %s\n", host != nullptr ? host : "(null)");
    ka_store(in_addr{}, addr);
    ka_store(timeval{}, tvStart);
    ka_store(timeval{}, tvEnd);
    if (host == nullptr || *host == '\0')
        return -1;

    in_addr found{};
    SLookupTimes times;
    if (inet_pton(AF_INET, host, &found) != 1) {
        ka_trace("in resolvein4 0\n");
        found = look_up_in4(host, &times);
    }
    char text[INET_ADDRSTRLEN];
    writeINET4Addr(&found, text);
    ka_trace("in resolvein4 1\n");
    ka_trace("the reslve host name is %s\n", text);
    if (found.s_addr == INADDR_ANY)
        return -1;
    ka_store(found, addr);
    ka_store(times.start, tvStart);
    ka_store(times.end, tvEnd);
    ka_trace("in resolvein4 2\n");
    return 0;
}

int CNetTest::resolveIn6Addr(const char* host, in6_addr* addr, timeval* tvStart, timeval* tvEnd) {
    ka_store(in6_addr{}, addr);
    ka_store(timeval{}, tvStart);
    ka_store(timeval{}, tvEnd);
    if (host == nullptr || *host == '\0')
        return -1;

    in6_addr found{};
    SLookupTimes times;
    if (inet_pton(AF_INET6, host, &found) != 1) {
        times.start = ka_now();
        const hostent* record = getHostAddr(AF_INET6, host, nullptr);
        times.end = ka_now();
        found = first_in6(record);
    }
    if (IN6_IS_ADDR_UNSPECIFIED(&found))
        return -1;
    ka_store(found, addr);
    ka_store(times.start, tvStart);
    ka_store(times.end, tvEnd);
    return 0;
}
