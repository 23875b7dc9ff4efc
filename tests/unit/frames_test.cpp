// Checksums and frames that a kernel would not send, in hex.
#include <cstring>

#include "netbase/cnetbase.h"
#include "netbase/link/arpframe.h"
#include "netbase/link/ipv4frame.h"
#include "netbase/link/ndmessage.h"
#include "tests/support/testbed.h"

TEST(Checksum, FoldsAndPads) {
    const std::vector<char> odd(70001, '\xFF');  // more carries than one fold takes in
    const unsigned short sum = CNetBase::u16CheckSum(odd.data(), 70001);
    EXPECT_EQ(0, memcmp(&sum, "\x00\xFF", 2));
    // Everything adds up to 0xFFFF here: a UDP checksum of 0, which stays 0.
    unsigned char datagram[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF - 17 - 10 - 10};
    ka_put_udp_header(datagram, in_addr{0}, in_addr{0}, 0, 0, 2);
    EXPECT_EQ(0, datagram[6]);
    EXPECT_EQ(0, datagram[7]);
}

TEST(ArpFrame, Refusals) {
    for (const Row& c : table(R"(
        0001 0800 0604 0002 020000000009 0A000002 0200000000FE 0A000001    | accepted
        0001 0800 0604 0002 020000000009 0A000002 0200000000FE 0A0000      | short
        0006 0800 0604 0002 020000000009 0A000002 0200000000FE 0A000001    | not Ethernet
        0001 86DD 0604 0002 020000000009 0A000002 0200000000FE 0A000001    | not IPv4
        0001 0800 0604 0001 020000000009 0A000002 0200000000FE 0A000001    | a request
        0001 0800 0604 0002 020000000009 0A000003 0200000000FE 0A000001    | another's)")) {
        const Bytes packet = bytes(hex(c[0]));
        EtherAddr found{};
        const bool ok = ka_accept_arp_reply(packet.data(), packet.size(), ip4("10.0.0.2"), &found);
        EXPECT_EQ(c[1] == "accepted", ok) << c[1];
        EXPECT_EQ(ok ? 9 : 0, found[5]) << c[1];
    }
}

TEST(NdMessage, Refusals) {
    const std::string head = " 0000 60000000 20010db8 00000000 00000001 0002 ";
    for (const Row& c : table(R"(
        8800 | 0003 0201 020000000009                                     | 9
        8800 | 0003 0101 AABBCCDDEEFF 0201 020000000009                   | 9
        8800 | 0003 0201 020000000009 0202 020000000007 000000000000 0000 | 7
        8800 | 0003 0200 0201 020000000009                                | refused
        8800 | 0003 0202 020000000009                                     | refused
        8801 | 0003 0201 020000000009                                     | refused
        8700 | 0003 0201 020000000009                                     | refused
        8800 | 0004 0201 020000000009                                     | refused
        8800 | 00                                                         | refused)")) {
        const Bytes msg = bytes(hex(c[0] + head + c[1]));
        EtherAddr found{};
        const bool ok = ka_accept_nd_advert(msg.data(), msg.size(), ip6("2001:db8::1:2:3"), &found);
        EXPECT_EQ(c[2], ok ? std::to_string(found[5]) : "refused") << c[1];
    }
}
