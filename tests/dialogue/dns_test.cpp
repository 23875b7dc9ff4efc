// DNS exchanges and lookups against a scripted name server.
#include <climits>

#include "netbase/cnettest.h"
#include "netbase/dns/retryplan.h"
#include "netbase/support/textvalue.h"
#include "tests/support/testbed.h"

namespace {

/// Answers `count` queries to an address with the datagrams that `answer` makes of each; the result
/// is the queries.
std::future<Row> serve(const CSockAddr& local, int count, std::function<Row(std::string)> answer) {
    const int sock = socket(local.family(), SOCK_DGRAM, 0);
    EXPECT_EQ(0, bind(sock, local.get(), local.length()));
    return std::async(std::launch::async, [=] {
        Row queries;
        for (int i = 0; i < count; ++i) {
            char query[512];
            sockaddr_storage from{};
            auto* peer = reinterpret_cast<sockaddr*>(&from);
            socklen_t length = sizeof(from);
            const ssize_t n = recvfrom(sock, query, sizeof(query), 0, peer, &length);
            queries.emplace_back(query, static_cast<size_t>(n));
            for (const std::string& reply : answer(queries.back()))
                sendto(sock, reply.data(), reply.size(), 0, peer, length);
        }
        close(sock);
        return queries;
    });
}

/// The response to a query, its question echoed, with records behind it.
std::string respond(std::string query, char answers, const std::string& records) {
    query[7] = answers;
    return query + records;
}

const std::string a4 = hex("C00C 0001 0001 00000000 0004 0A000001");
const std::string a6 = hex("C00C 001C 0001 00000000 0010 20010db8 00000000 00000000 00000007");

class Dns : public OwnHost {
  protected:
    CNetTest port{0, 0};
};

}  // namespace

TEST_F(Dns, RetryPlanDoublesAndSaturates) {
    std::string asked;
    hostent found;
    const auto plan = [&](int timeout, size_t answer_at) {
        asked.clear();
        return kadns_retry(CNetBase::DNSREQ_TRYOUT, timeout,
                           [&, count = 0U](bool first, int t) mutable {
                               asked += (first ? " 1:" : " 2:") + std::to_string(t);
                               return ++count == answer_at ? &found : nullptr;
                           });
    };
    EXPECT_EQ(nullptr, plan(3, 0));
    EXPECT_EQ(" 1:3 2:3 1:6 2:6 1:12 2:12 1:24 2:24 1:48 2:48", asked);
    EXPECT_EQ(&found, plan(3, 4));
    EXPECT_EQ(" 1:3 2:3 1:6 2:6", asked);
    CNetBase::DNSREQ_TRYOUT = 10;
    plan(5000000, 0);
    EXPECT_EQ(" 1:1280000000 2:1280000000 1:2147483647 2:2147483647",
              asked.substr(asked.find(" 1:1280")));
    CNetBase::exitExec();
    EXPECT_EQ(nullptr, plan(1, 1));
}

TEST_F(Dns, ResponseIsAwaitedUntilTheDeadline) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM, 0, ends));
    const auto put = [&](const std::string& s) { send(ends[1], s.data(), s.size(), 0); };
    hostent out;
    const std::string right = hex("0007 8180 0000 0000 0000 0000");
    for (const std::string& datagram : {hex("0107") + right.substr(2), right.substr(0, 5), right})
        put(datagram);
    EXPECT_EQ(-1, kadns_recv_response(2, ends[0], 7, -1, &out));
    EXPECT_EQ(0, kadns_recv_response(2, ends[0], 0x10007, 5000000, &out));
    const timeval start = ka_now();
    const auto nuisance = std::async(std::launch::async, [&] {
        for (int i = 0; i < 16; ++i) {
            put("nonsense that is no answer");
            usleep(50000);
        }
    });
    EXPECT_EQ(-1, kadns_recv_response(2, ends[0], 7, 200000, &out));
    EXPECT_LT(ka_tv_span_msecs(start, ka_now()), 700);             // not prolonged by datagrams
    EXPECT_EQ(-1, kadns_recv_response(2, 999, 7, 5000000, &out));  // a failed wait ends it
}

TEST_F(Dns, LooksUpInet6AtTheSecondServerWhenTheFirstIsUnset) {
    auto server = serve(CSockAddr::inet6(ip6("::1"), dns_port), 2, [](const std::string& query) {
        return Row{"noise", respond(query, 3, a4 + a6 + a6)};
    });
    writePortFile("inet6_dns1", std::string(127, 'n'));  // as long as may be
    writePortFile("inet6_dns2", "::1\n");
    hostent* found = nullptr;
    const std::string trace = printed([&] { found = port.getHostAddr(10, "Host.x", nullptr); });
    ASSERT_NE(nullptr, found);
    EXPECT_EQ(0U, trace.find("start(hostname=Host.x, bUseDNS1=1) ...\nstart(hostname=Host.x, "
                             "bUseDNS1=0) ...\nin getHostAddr2 6\nthe fd_query_sock is "));
    EXPECT_EQ("got address(0) a00:1::\ngot address(1) 2001:db8::7\ngot address(2) 2001:db8::7\n",
              trace.substr(trace.find("got")));
    in6_addr addr{};  // the IPv4 address before it is passed over
    timeval start{};
    timeval end{};
    printed([&] { EXPECT_EQ(0, port.resolveIn6Addr("host.x", &addr, &start, &end)); });
    EXPECT_EQ(7, addr.s6_addr[15]);
    EXPECT_EQ(hex("0100 0001 0000 0000 0000 04") + "host" + hex("01") + "x" + hex("00 001C 0001"),
              server.get()[0].substr(2));
    EXPECT_TRUE(ka_tv_isset(start));
    EXPECT_FALSE(ka_tv_later(start, end));
    EXPECT_EQ(0, port.resolveIn6Addr("2001:db8::1", &addr, &start, &end));
    EXPECT_FALSE(ka_tv_isset(start));
}

TEST_F(Dns, LooksUpInet4AtTheGivenServer) {
    const auto server = serve(CSockAddr::inet4({INADDR_ANY}, dns_port), 3, [](std::string query) {
        const bool echo = query.find('n') != std::string::npos;
        query[5] = echo ? '\1' : '\0';  // else the response has no question
        return Row{respond(echo ? query : query.substr(0, 12), 1, a4)};
    });
    for (const Row& c : table(R"(
        found       | 127.0.0.1 | n | found | the dns_addr.s_addr is 127.0.0.1in getHostAddr2 6
        no question | 127.0.0.1 | b | null  | the dns_addr.s_addr is 127.0.0.1in getHostAddr2 6
        no server   |           | n | null  | the dns_addr.s_addr is 255.255.255.255
        any address | 0.0.0.0   | n | found | the dns_addr.s_addr is 0.0.0.0in getHostAddr2 6)")) {
        SCOPED_TRACE(c[0]);
        ka_copy_text(g_dns_addr, c[1]);
        hostent* found = nullptr;
        const std::string trace = printed(
            [&] { found = port.getHostAddr2(AF_INET, c[2].c_str(), nullptr, true, 100000); });
        EXPECT_EQ(c[3], found != nullptr ? "found" : "null");
        EXPECT_NE(std::string::npos, trace.find(" ...\n" + c[4])) << trace;
    }
}

TEST_F(Dns, ResolvesInet4TextByThePlatform) {
    in_addr addr{1};
    timeval start{1, 1}, end{1, 1};
    EXPECT_EQ(
        "host name is no.such.\nin resolvein4 0\nin resolvein4 1\n"
        "the reslve host name is 0.0.0.0\n",
        printed([&] { port.resolveIn4Addr("no.such.", &addr, &start, &end); }));
    EXPECT_FALSE(ka_tv_isset(start) || ka_tv_isset(end));
    printed([&] { EXPECT_EQ(0, port.resolveIn4Addr("localhost", &addr, &start, nullptr)); });
    EXPECT_TRUE(ka_tv_isset(start));
}
