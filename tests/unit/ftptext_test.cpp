// The texts of the FTP dialogue.
#include "ftptest/ftptext.h"

#include "tests/support/testbed.h"

TEST(FtpText, MatchesPassiveEndpointsLikeSscanf) {
    for (const Row& c : table(R"(
        Entering Passive Mode (192,168,1,10,19,137
        Entering  PassiveMode( 192,\t168,+1,10,19,137x
        Entering Passive Mode (999,4294967295,-1,99999999999999999999999,0,65536)
        Entering Passive Mode =192,168,1,10,19,137)
        Entering Passive Mode (192 ,168,1,10,19,137)
        Entering Passive Mode (192,168,1,10,19,-)
        \sEntering Passive Mode (1,2,3,4,5,6)")) {
        std::array<unsigned int, 6> n{};
        std::array<unsigned int, 6> want{};
        const int count = sscanf(c[0].c_str(), "Entering Passive Mode (%u,%u,%u,%u,%u,%u)",
                                 &want[0], &want[1], &want[2], &want[3], &want[4], &want[5]);
        EXPECT_EQ(count == 6, ftp_parse_pasv(c[0].c_str(), &n)) << c[0];
        EXPECT_EQ(count == 6 ? want : n, n) << c[0];
    }
}
