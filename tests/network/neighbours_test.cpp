// Raw frames against the kernel, the daemons and the sockets of another namespace.
#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <net/ethernet.h>
#include <sched.h>
#include <sys/ioctl.h>

#include <ctime>
#include <set>

#include "netbase/cnettest.h"
#include "netbase/link/etheraddr.h"
#include "netbase/support/textvalue.h"
#include "tests/support/testbed.h"

namespace {

/// A host behind a veth pair: "dev0" here (02:..:01, 10.1.0.1, 2001:db8:1::1), "far0" there
/// (02:..:02, 10.1.0.2, 2001:db8:1::2, behind which it also has 10.2.0.9).
class Neighbours : public OwnHost {
  protected:
    void prepare() override {
        // Addresses made by hand are usable at once: no duplicate detection.
        ASSERT_EQ(0, shell(R"(
            set_up() {
                $1 link set $2 addrgenmode none address 02:00:00:00:00:0$3 up
                $1 addr add 10.1.0.$3/24 dev $2
                for net in fe80 2001:db8:1; do $1 addr add $net::$3/64 dev $2 nodad; done
            }
            ip netns add far && ip link add dev0 type veth peer name far0 netns far &&
            set_up ip dev0 1 && set_up "ip -n far" far0 2 && ip -n far link set lo up &&
            ip -n far addr add 10.2.0.9/32 dev lo)"));
        writePortFile("inet4_gw", "10.1.0.2\n");
        writePortFile("inet6_gw", "2001:db8:1::2\n");
        ka_copy_text(port.m_szBindDevName, "dev0");
        capture = std::make_unique<CDescriptor>(socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL)));
    }

    /// A socket of the far host, bound to a port.
    int farSocket(int type, int protocol, int at) {
        const auto open_there = [&] {
            const CDescriptor far(open("/run/netns/far", O_RDONLY));
            EXPECT_EQ(0, setns(far.get(), CLONE_NEWNET));
            const int sock = socket(AF_INET, type, protocol);
            const CSockAddr any = CSockAddr::inet4({0}, at);
            EXPECT_EQ(0, bind(sock, any.get(), any.length()));
            return sock;
        };
        return std::async(std::launch::async, open_there).get();  // in a thread that stays there
    }

    static std::string received(int sock) {
        const timeval limit{5, 0};
        char bytes[2000];
        const ssize_t n = ka_read_wait(sock, &limit) == 1 ? recv(sock, bytes, sizeof(bytes), 0) : 0;
        return {bytes, static_cast<size_t>(n)};
    }

    /// The next captured frame of a type from a hardware address; `when` is the kernel's time of
    /// it.
    std::string captured(const std::string& from, const std::string& type) {
        for (std::string frame; !(frame = received(capture->get())).empty();) {
            ioctl(capture->get(), static_cast<int>(SIOCGSTAMP), &when);
            if (frame.substr(6, 8) == hex("0200000000" + from + type))
                return frame;
        }
        return "";
    }

    CNetTest port{0, 0};
    std::unique_ptr<CDescriptor> capture;
    timeval when{};
};

const EtherAddr far_hw = {2, 0, 0, 0, 0, 2};
const std::string over_there = "exec ip netns exec far '" SOURCE "'/scripts/peer ";

}  // namespace

TEST_F(Neighbours, ArpResolvesTheKernel) {
    EtherAddr hwaddr{};
    timeval delay{};
    const in_addr far_addr = ip4("10.1.0.2");
    const in_addr behind = ip4("10.2.0.9");
    ASSERT_EQ(0, port.arpEthINET4(2000000, &far_addr, hwaddr.data(), &delay));
    EXPECT_EQ(far_hw, hwaddr);
    EXPECT_EQ(hex("FFFFFFFFFFFF 020000000001 0806 0001 0800 06 04 0001 020000000001 0A010001"
                  "000000000000 0A010002"),
              captured("01", "0806"));
    const timeval asked = when;
    captured("02", "0806");
    EXPECT_LE(std::abs(ka_tv_span_msecs(asked, when) - ka_tv_msecs(delay)), 200);
    EXPECT_EQ(0, port.arpEthINET4Target(2000000, &far_addr, &delay));
    EXPECT_EQ(-1, port.arpEthINET4Target(1, &far_addr, &delay));
    EXPECT_EQ(0, port.arpEthINET4Target(2000000, &behind, nullptr));
    const timeval start = ka_now();
    const in_addr nobody = ip4("10.1.0.77");
    const auto on_another_device = std::async(std::launch::async, [] {
        const CDescriptor out(socket(AF_PACKET, SOCK_DGRAM, 0));
        const sockaddr_ll lo{AF_PACKET, htons(ETHERTYPE_ARP), 1, 0, 0, 6, {}};
        const std::string reply =
            hex("00010800 06040002 02000000 00090A01 004D0200 0000010A 010001");
        usleep(100000);
        sendto(out.get(), reply.data(), 28, 0, reinterpret_cast<const sockaddr*>(&lo), sizeof(lo));
    });
    EXPECT_EQ(-1, port.arpEthINET4(300000, &nobody, hwaddr.data(), nullptr));
    EXPECT_EQ(EtherAddr{}, hwaddr);
    EXPECT_GE(ka_tv_span_msecs(start, ka_now()), 300);
    writePortFile("inet4_gw", "0.0.0.0" + std::string(120, ' '));  // as long as may be
    EXPECT_EQ(-1, port.arpEthINET4Target(2000000, &behind, nullptr));
}

TEST_F(Neighbours, DatagramsAndPacketsArrive) {
    const CDescriptor out(port.openEthPacket(htons(ETHERTYPE_IP), true));
    const CDescriptor udp(farSocket(SOCK_DGRAM, 0, 7777));
    const CDescriptor raw(farSocket(SOCK_RAW, 253, 0));
    for (const Row& c : table(R"(
        10.1.0.2        | odd            | 020000000002
        10.1.0.2        | even           | 020000000002
        10.2.0.9        | by the gateway | 020000000002
        255.255.255.255 | to everybody   | FFFFFFFFFFFF)")) {
        const in_addr to = ip4(c[0].c_str());
        port.sendUDPV4Packet(out.get(), 64, &to, 5, htons(7777), c[1].data(),
                             static_cast<int>(c[1].size()));
        EXPECT_EQ(c[1], received(udp.get()));
        captured("01", "0800");
        EXPECT_EQ(0, port.sendINET4Packet(out.get(), 1, 253, &to, "payload", 7));
        const std::string packet = received(raw.get());
        EXPECT_EQ(hex(c[2] + "020000000001 0800") + packet, captured("01", "0800"));
        EXPECT_EQ(hex("01FD"), packet.substr(8, 2));
        EXPECT_EQ("payload", packet.substr(20));
    }
    const in_addr behind = ip4("10.2.0.9");
    const in_addr nobody = ip4("10.1.0.77");
    EXPECT_EQ(-1, port.sendINET4Packet(out.get(), 1, 253, &nobody, "x", 1));
    writePortFile("inet4_gw", "255.255.255.255");
    EXPECT_EQ(0, port.sendINET4Packet(out.get(), 1, 253, &behind, "x", 1));
    EXPECT_EQ(hex("FFFFFFFFFFFF"), captured("01", "0800").substr(0, 6));
}

TEST_F(Neighbours, DiscoveryResolvesTheKernel) {
    EtherAddr hwaddr{};
    timeval delay{};
    for (const char* text : {"2001:db8:1::2", "fe80::2"}) {
        const in6_addr target = ip6(text);
        EXPECT_EQ(0, port.inet6ND_AddrRes(3000000, &target, hwaddr.data(), &delay)) << text;
        EXPECT_EQ(far_hw, hwaddr);
        EXPECT_TRUE(ka_tv_isset(delay));
        EXPECT_EQ(0, delay.tv_sec);
    }
    std::string solicit;
    do  // the kernel has reports and solicitations of its own to send
        solicit = captured("01", "86DD");
    while (!solicit.empty() && (solicit[20] != 0x3A || solicit.substr(54, 1) != hex("87")));
    EXPECT_EQ(hex("3333FF000002"), solicit.substr(0, 6));
    EXPECT_EQ(hex("20 3A FF"), solicit.substr(19, 3));  // 32 bytes, ICMPv6, hop limit 255
    EXPECT_EQ(hex("FF020000 00000000 00000001 FF000002 8700"), solicit.substr(38, 18));
    EXPECT_EQ(hex("00000000 20010db8 00010000 00000000 00000002 0101 020000000001"),
              solicit.substr(58));
    const in6_addr nobody = ip6("2001:db8:1::77");
    EXPECT_EQ(-1, port.inet6ND_AddrRes(300000, &nobody, hwaddr.data(), &delay));
    EXPECT_EQ(EtherAddr{}, hwaddr);
    EXPECT_FALSE(ka_tv_isset(delay));
    sockaddr_in6 target{};
    unsigned char buf[64];
    const timeval brief{0, 200000};
    const std::clock_t cpu = std::clock();
    EXPECT_EQ(-1,
              inet6_addrres_recvadv(0, buf, sizeof(buf), 999, &target, &brief, nullptr, nullptr));
    EXPECT_LT(std::clock() - cpu, CLOCKS_PER_SEC / 10);  // a wait that fails does not spin
}

TEST_F(Neighbours, AnAccessConcentratorAnswers) {
    const Program server(over_there + "pppoe-server -F -I far0 -C concentrator");
    const CDescriptor sock(port.openEthPacket(htons(0x8863), true));
    const auto send = [&](const EtherAddr& to, const std::string& tags, int length) {
        return port.sendPPPoEPacket(sock.get(), reinterpret_cast<const char*>(to.data()),
                                    htons(0x8863), 9, 0x10007, tags.data(), length);
    };
    const timeval limit{0, 200000};
    for (int i = 0; i < 50 && (i == 0 || ka_read_wait(sock.get(), &limit) != 1); ++i)
        EXPECT_EQ(0, send(ether_broadcast, hex("0101 0000"), 4));
    const std::string offer = received(sock.get());
    EXPECT_EQ(hex("1107 0000"), offer.substr(0, 4));
    EXPECT_NE(std::string::npos, offer.find("concentrator"));
    EXPECT_EQ(hex("FFFFFFFFFFFF 020000000001 8863 1109 0007 0004 0101 0000"),
              captured("01", "8863"));
}

TEST_F(Neighbours, AServiceIsFoundAtARealNameServer) {
    const Program server(
        over_there +
        "dnsmasq --no-daemon --no-resolv --no-hosts --conf-file=/dev/null --local=/x/ "
        "--address=/none.x/ --srv-host=_s._tcp.x,one.x,80 "
        "--srv-host=_s._tcp.x,none.x,81 --srv-host=_s._tcp.x,two.x,81 "
        "--host-record=one.x,10.9.0.1,2001:db8::1 --host-record=two.x,10.9.0.2,2001:db8::2 "
        "--bind-interfaces --listen-address=10.1.0.2,2001:db8:1::2");
    CNetBase::DNSREQ_TRYOUT = 1;
    const auto lookup = [&](int family) {
        const hostent* found = nullptr;
        printed([&] { found = port.getHostSrv(family, "_s._tcp.x", nullptr); });
        std::set<std::string> entries;  // the server turns the order
        for (int i = 0; found != nullptr && found->h_addr_list[i] != nullptr; ++i) {
            char text[INET6_ADDRSTRLEN];
            entries.insert(found->h_aliases[i] + std::string(" ") +
                           inet_ntop(family, found->h_addr_list[i], text, sizeof(text)));
        }
        return entries;
    };
    using Entries = std::set<std::string>;
    ka_copy_text(g_dns_addr, "10.1.0.2");
    hostent out;
    printed([&] {  // until the server is there
        for (int i = 0; i < 99 && !port.getHostAddr2(AF_INET, "one.x", &out, true, 100000); ++i)
            usleep(50000);
    });
    EXPECT_EQ(Entries(), lookup(AF_INET6));  // no server is set
    writePortFile("inet6_dns2", "2001:db8:1::2");
    EXPECT_EQ((Entries{"one.x 2001:db8::1", "two.x 2001:db8::2"}), lookup(AF_INET6));
    writePortFile("inet4_dns1", "10.2.0.9");  // silent: 5 s
    writePortFile("inet4_dns2", "10.1.0.2");
    EXPECT_EQ((Entries{"one.x 10.9.0.1", "two.x 10.9.0.2"}), lookup(AF_INET));
}
