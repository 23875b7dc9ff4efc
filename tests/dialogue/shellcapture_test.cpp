// The output of shell commands, endless ones included.
#include "app/shellcapture.h"

#include "netbase/cnetbase.h"
#include "netbase/support/textvalue.h"
#include "tests/support/testbed.h"

class ShellCapture : public OwnHost {};

TEST_F(ShellCapture, AppendsWhatFits) {
    for (const Row& c : table(R"(
        some lines   | 2     | 6     | echo ab; sleep 0.1; head -c 1 /dev/zero; printf c; exit 3
        no end       | 0     | 10239 | yes
        nothing seen | 0     | 0     | cat /dev/zero
        no room      | 10239 | 10239 | sleep 0.1; touch /tmp/ran)")) {
        SCOPED_TRACE(c[0]);
        std::string out(capture_size + 1, 'o');
        out[std::stoul(c[1])] = '\0';
        printed([&] { executeCMD(c[3].c_str(), out.data()); });
        EXPECT_EQ(c[2], std::to_string(strlen(out.c_str())));
        EXPECT_EQ('o', out.back());
    }
    EXPECT_EQ(0, shell("test -e /tmp/ran"));
}

TEST_F(ShellCapture, TakesThePeerOfAPppLink) {
    writeFile("/tmp/ifconfig", "#!/bin/sh\nexec cat /tmp/out");
    shell("chmod +x /tmp/ifconfig");
    setenv("PATH", "/tmp:/bin:/usr/bin", 1);
    for (const Row& c : table(R"(
        no link  | eth0 inet addr:10.0.0.1 Bcast:10.255.255.255      | 1.2.3.4        | nothing found\n
        a link   | inet addr:10.64.64.64  P-t-P:10.112.112.112  Mask | 10.112.112.112 |
        too long | x P-t-P:<200 9>                                   | <63 9>         |)")) {
        SCOPED_TRACE(c[0]);
        ka_copy_text(g_dns_addr, "1.2.3.4");
        writeFile("/tmp/out", c[1]);
        EXPECT_EQ(c[3] + "the dns addr is " + c[2] + "\n", printed(get_dns_addr));
        EXPECT_EQ(c[2], g_dns_addr);
    }
}
