// The texts of the FTP dialogue.
#include "ftptest/ftptext.h"

#include "tests/support/testbed.h"

TEST(FtpText, ScansReplies) {
    for (const Row& c : table(R"(
        220 ready\r\n           | complete 11
        220\tready\r\n          | complete 11
        220-a\r\n220 b\r\n      | complete 14
        220 a\r\n220-b\r\n      | complete 14
        220 a\0b\r\n            | complete 9
        150 a\r\n226 Do         | unfinished 7
        220-a\r\n               | unfinished 7
        220                     | unfinished 0
        220 a\n                 | unfinished 0
        220\r\n                 | unfinished 5
        22                      | malformed 0
        220-a\r\n22             | malformed 7
        230-a\r\n b\r\n         | malformed 7
        2x0 a\r\n               | malformed 0
        22/ a\r\n               | malformed 0
                                | malformed 0)")) {
        const char* const states[] = {"complete ", "unfinished ", "malformed "};
        Exact<> block(c[0]);
        size_t rest = 99;
        const EReply state = CReplyScanner().scan(block.data(), c[0].size(), &rest);
        EXPECT_EQ(c[1], states[static_cast<int>(state)] + std::to_string(rest)) << c[0];
    }
    CReplyScanner twice;  // the final mark stays once it is set
    size_t rest = 0;
    EXPECT_EQ(EReply::unfinished, twice.scan("220 a", 5, &rest));
    EXPECT_EQ(EReply::complete, twice.scan("220-a\r\n", 7, &rest));
}

TEST(FtpText, MatchesPassiveEndpointsLikeSscanf) {
    for (const Row& c : table(R"(
        Entering Passive Mode (192,168,1,10,19,137)
        Entering Passive Mode (192,168,1,10,19,137
        Entering  PassiveMode( 192,\t168,+1,10,19,137x
        Entering Passive Mode (999,4294967295,-1,99999999999999999999999,0,65536)
        Entering passive mode (192,168,1,10,19,137)
        Entering Passive Mode (192,168,1,10,19)
        Entering Passive Mode (192 ,168,1,10,19,137)
        Entering Passive Mode (192,168,1,10,19,-)
        \sEntering Passive Mode (1,2,3,4,5,6)
        Entering)")) {
        std::array<unsigned int, 6> n{};
        std::array<unsigned int, 6> want{};
        Exact<> block(c[0] + '\0');
        const int count = sscanf(c[0].c_str(), "Entering Passive Mode (%u,%u,%u,%u,%u,%u)",
                                 &want[0], &want[1], &want[2], &want[3], &want[4], &want[5]);
        EXPECT_EQ(count == 6, ftp_parse_pasv(block.data(), &n)) << c[0];
        EXPECT_EQ(count == 6 ? want : n, n) << c[0];
    }
}

TEST(FtpText, WritesTheActiveEndpoint) {
    char text[25] = "x";
    ip_address_to_port_repr(ip4("10.0.0.5"), 40000, text, 23);
    EXPECT_STREQ("x", text);
    EXPECT_EQ("buf: 10,0,0,5,156,64\n",
              printed([&] { ip_address_to_port_repr(ip4("10.0.0.5"), 40000, text, 25); }));
}
