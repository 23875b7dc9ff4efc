// The bounded wait, the bounded connect, and sockets on a device.
#include <fcntl.h>
#include <sys/resource.h>

#include <csignal>
#include <cstring>

#include "netbase/cnettest.h"
#include "netbase/support/trace.h"
#include "tests/support/testbed.h"

namespace {

class Sockets : public OwnHost {
  protected:
    /// Gives the host a device "dev0", which the port is bound to later.
    void prepare() override {
        ASSERT_EQ(0, shell("ip link add dev0 type veth peer name far && ip link set far up &&"
                           "ip link set dev0 address 02:00:00:00:00:01 up &&"
                           "ip addr add 10.1.0.1/16 dev dev0 &&"
                           "ip neigh add 10.1.0.9 lladdr 02:00:00:00:00:09 dev dev0"));
        struct sigaction quiet {};
        quiet.sa_handler = [](int) {};
        sigaction(SIGALRM, &quiet, nullptr);
    }
    int connectTo(int sock, const char* host, int at, int timeout) {
        return port.connectTCP(sock, CSockAddr::inet4(ip4(host), at).get(), timeout);
    }
    CNetTest port{0, 0};
};

std::string device(int sock) {
    char name[16] = "";
    socklen_t length = sizeof(name);
    getsockopt(sock, SOL_SOCKET, SO_BINDTODEVICE, name, &length);
    return name;
}

bool isAt(int sock, const CSockAddr& want) {
    return memcmp(CSockAddr::localOf(sock).get(), want.get(), want.length()) == 0;
}

}  // namespace

TEST_F(Sockets, WaitTakesAnyDescriptor) {
    const rlimit many{4096, 4096};
    if (setrlimit(RLIMIT_NOFILE, &many) != 0)
        GTEST_SKIP() << "no user of so many descriptors";
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    const int high = fcntl(ends[0], F_DUPFD, 2000);
    const timeval limit{5, 0};
    const timeval negative{-1, 0};
    EXPECT_EQ(0, ka_read_wait(high, nullptr));
    ASSERT_EQ(1, write(ends[1], "x", 1));
    EXPECT_EQ(-1, ka_read_wait(high, &negative));
    EXPECT_EQ(1, ka_read_wait(high, &limit));
    close(high);
    EXPECT_EQ(-1, ka_read_wait(high, &limit));
    ualarm(50000, 50000);  // again and again, should the first come before the wait
    EXPECT_EQ(EWait::interrupted, ka_wait(nullptr, 0, &limit));  // reported, not taken up again
    ualarm(0, 0);
}

TEST_F(Sockets, WaitWritesTheTraces) {
    static int calls = 0;
    ka_trace_hook = [](bool may_wait) {
        calls += may_wait ? 100 : 1;
        errno = ENOSPC;
        return 10000;
    };
    const timeval limit{0, 95000};
    const timeval start = ka_now();
    errno = EINPROGRESS;
    EXPECT_EQ(EWait::timeout, ka_wait(nullptr, 0, &limit));
    EXPECT_EQ(EINPROGRESS, errno);
    EXPECT_GE(ka_tv_span_msecs(start, ka_now()), 95);
    EXPECT_GE(calls, 2);
    EXPECT_LE(calls, 10);
    ka_trace_hook = nullptr;
}

TEST_F(Sockets, ConnectTellsWhy) {
    Listener listener;
    const CDescriptor good(port.openINET4Socket(SOCK_STREAM, 0, 0));
    for (int i = 0; i < 2; ++i)  // it may be connected already
        EXPECT_EQ(0, connectTo(good.get(), "127.0.0.1", listener.port(), 2000000));
    struct Refusal {
        const char* host;
        int limit, error;
    };
    for (const auto& [host, limit, error] : {Refusal{"127.0.0.1", 2000000, ECONNREFUSED},
                                             {"192.0.2.1", 2000000, ENETUNREACH},
                                             {"10.1.0.9", 50000, EINPROGRESS},  // nobody answers
                                             {"10.1.0.9", -1, EINTR}}) {
        const CDescriptor sock(port.openINET4Socket(SOCK_STREAM, 0, 0));
        if (limit < 0)
            ualarm(100000, 100000);
        EXPECT_EQ(-1, connectTo(sock.get(), host, 1, limit));
        EXPECT_EQ(error, errno) << host;
        ualarm(0, 0);
        EXPECT_EQ(0, fcntl(sock.get(), F_GETFL) & O_NONBLOCK);
    }
}

TEST_F(Sockets, OpenBindsTheDeviceAndItsAddress) {
    ASSERT_EQ(0, shell("ip addr add 2001:db8::5/64 dev dev0 nodad"));
    const CDescriptor plain(port.openINET4Socket(SOCK_DGRAM, 0, 5000));
    EXPECT_EQ("", device(plain.get()));
    EXPECT_TRUE(isAt(plain.get(), CSockAddr::inet4({0}, 5000)));
    Listener taken;
    EXPECT_EQ(-1, port.openINET4Socket(SOCK_STREAM, 0, 0x10000 + taken.port()));
    strcpy(port.m_szBindDevName, "dev0");
    writePortFile("inet4_gw", "10.1.0.254\n");
    writePortFile("inet6_gw", "junk");
    const CDescriptor in4(port.openINET4Socket(SOCK_STREAM, 0, 5001));
    EXPECT_TRUE(isAt(in4.get(), CSockAddr::inet4(ip4("10.1.0.1"), 5001)));
    const CDescriptor in6(port.openINET6Socket(SOCK_STREAM, 0, 5001));
    EXPECT_TRUE(isAt(in6.get(), CSockAddr::inet6(ip6("2001:db8::5"), 5001)));
    EXPECT_EQ("dev0", device(in4.get()));
    EXPECT_EQ("dev0", device(in6.get()));
}

TEST_F(Sockets, InterfaceInformation) {
    in_addr mask{1};
    in6_addr gw6{};
    int prefix = 9;
    strcpy(port.m_szBindDevName, "dev0:1");
    EXPECT_NE(0U, port.getBindDevIface());
    strcpy(port.m_szBindDevName, "dev0");
    EXPECT_EQ(-1, port.getINET4Info(nullptr, &mask, nullptr));  // no gateway file
    EXPECT_EQ(0U, mask.s_addr);
    writePortFile("inet4_gw", "10.1.0.254\n");
    EXPECT_EQ("the ip_addr is 10.1.0.1\n",
              printed([&] { port.getINET4Info(nullptr, &mask, nullptr); }));
    EXPECT_EQ(ip4("255.255.0.0").s_addr, mask.s_addr);

    ASSERT_EQ(0, shell("ip addr add fec0::1/64 dev dev0 nodad"));
    writePortFile("inet6_gw", "2001:db8::fe");
    EXPECT_EQ(-1, port.getINET6Info(nullptr, &prefix, &gw6));  // link-local and site-local only
    EXPECT_EQ(0xFE, gw6.s6_addr[15]);
    EXPECT_EQ(0, prefix);
    ASSERT_EQ(0, shell("ip addr add 2001:db8::5/56 dev dev0 nodad"));
    EXPECT_EQ(0, port.getINET6Info(nullptr, &prefix, nullptr));
    EXPECT_EQ(56, prefix);

    EXPECT_EQ(1, port.getBindDevHWAddr(false)[5]);
    ASSERT_EQ(0, shell("ip link set dev0 address 02:00:00:00:00:02"));
    EXPECT_EQ(1, port.getBindDevHWAddr(false)[5]);  // not asked again
    EXPECT_EQ(2, port.getBindDevHWAddr(true)[5]);
}
