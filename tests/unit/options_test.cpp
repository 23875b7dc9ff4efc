// The command line.
#include "app/driver.h"
#include "netbase/cnetbase.h"
#include "netbase/support/textvalue.h"
#include "tests/support/testbed.h"

TEST(Options, AreFoundAnywhere) {
    // The arguments; the test, do_get, do_put, use_pasv, use_port; host, user, path, size, -dns.
    for (const Row& c : table(R"(
        -m 0 -t 0 -dst h -us u -pw p -f /a | FTP1010,h,u,/a,0,
        -m 1 -t 1 -size 5000000000    | FTP0101,,,,5000000000,
        -m 0 -m 1 -m 2                | HTTP1100,,,,0,
        -m 7 -t 2 -t 7                | FTP0011,,,,0,
        -f /my-test.bin -us anonymous | FTP0010,,anonymous,/my-test.bin,0,
        --dstx h -f                   | FTP0000,h,,,0,
        -dst-m 1                      | FTP0100,,,,0,
        -dns 192.168.1.1 -size x      | FTP0000,,,,0,192.168.1.1
        -dst <300 h> -f <600 f> -us <70 u> -dns <70 d> | FTP0000,<63 h>,<63 u>,<511 f>,0,<63 d>)")) {
        const Arguments given(c[0]);
        SFtpBaseConfig ftp;
        SHttpBaseConfig http;
        set_test_defaults(&ftp, &http);
        ka_copy_text(g_dns_addr, "");
        bool is_http = false;
        const std::string trace =
            printed([&] { is_http = scan_options(given.count(), given.argv.data(), &ftp, &http); });
        std::ostringstream got;
        got << (is_http ? "HTTP" : "FTP") << ftp.do_get << ftp.do_put << ftp.use_pasv
            << ftp.use_port << ',' << ftp.host_name << ',' << ftp.username << ',' << ftp.file_path
            << ',' << ftp.put_size << ',' << g_dns_addr;
        EXPECT_EQ(c[1], got.str());
        EXPECT_STREQ(ftp.password, http.password);
        EXPECT_EQ(std::string(http.url).substr(0, 63), ftp.host_name);
        EXPECT_EQ(c[0] == "--dstx h -f", trace.find("argv[i] is  -f, argv[i+1] is (null)\n") < 999);
    }
}
