// The whole program: its command line, its surroundings, and real servers.
#include <filesystem>

#include "app/driver.h"
#include "app/shellcapture.h"
#include "netbase/textvalue.h"
#include "tests/support/testbed.h"

namespace {

const std::string vsftpd_settings =
    "listen=YES\nbackground=NO\nseccomp_sandbox=NO\nanonymous_enable=YES\nno_anon_password=NO\n"
    "anon_root=/tmp/srv\nftp_username=daemon\nwrite_enable=YES\nanon_upload_enable=YES\n"
    "secure_chroot_dir=/tmp/empty\nport_promiscuous=NO\nconnect_from_port_20=NO\n";
const std::string proftpd_settings =
    "ServerType standalone\nDefaultServer on\nPort 21\nUseIPv6 off\nUseReverseDNS off\n"
    "ScoreboardFile none\nPidFile /tmp/proftpd.pid\nDelayTable none\nWtmpLog off\n"
    "TransferLog none\nSystemLog none\n<Anonymous /tmp/srv>\nUser nobody\nGroup nogroup\n"
    "UserAlias anonymous nobody\nRequireValidShell off\nAllowOverwrite on\n</Anonymous>\n";

class TheProgram : public OwnHost {
  protected:
    void SetUp() override {
        OwnHost::SetUp();
        ASSERT_EQ(0, shell("mkdir -p /tmp/srv/pub /tmp/empty && chmod 777 /tmp/srv/pub &&"
                           "truncate -s 300M /tmp/srv/file"));
    }

    /// Starts a server that then listens on a port of this host.
    void start(const std::string& command, int at) {
        server.reset();
        server = std::make_unique<Program>("exec >/tmp/server.log 2>&1; " + command);
        ASSERT_TRUE(eventually([&] {
            const CDescriptor sock(socket(AF_INET, SOCK_STREAM, 0));
            const CSockAddr to = CSockAddr::inet4(ip4("127.0.0.1"), at);
            return connect(sock.get(), to.get(), to.length()) == 0;
        })) << readFile("/tmp/server.log");
    }
    void startNginx() {
        writeFile("/tmp/nginx.conf",
                  "daemon off; user root; pid /tmp/nginx.pid; error_log /tmp/nginx.log; events {}\n"
                  "http { access_log off; sendfile on; client_body_temp_path /tmp/t; "
                  "proxy_temp_path /tmp/t;"
                  "fastcgi_temp_path /tmp/t; uwsgi_temp_path /tmp/t; scgi_temp_path /tmp/t;"
                  "server { listen 80; root /tmp/srv; } }\n");
        start("exec " PEERS "/usr/sbin/nginx -c /tmp/nginx.conf", 80);
    }

    /// Runs the program by the shell; the outcome of the record, and the exit status unless it is
    /// 0.
    static std::string run(const std::string& rest) {
        shell("rm -f /tmp/httpdata /tmp/ftp???rst");
        const int status = shell("exec timeout 60 " PROGRAM " " + rest);
        std::string record;
        for (const char* path : {"/tmp/httpdata", "/tmp/ftpgetrst", "/tmp/ftpputrst"})
            record += readFile(path);
        return outcome(record) + (status != 0 ? " exit status " + std::to_string(status) : "");
    }

    std::unique_ptr<Program> server;
};

const std::string whole = "6 6666 314572800";

}  // namespace

TEST_F(TheProgram, ReadsItsCommandLine) {
    for (const Row& c : table(R"(
                                  | FTP,0000,,,,0,
        -m 0 -t 0 -dst h -us u -f /a  | FTP,1010,h,u,/a,0,
        -m 1 -t 1 -size 5000000000    | FTP,0101,,,,5000000000,
        -m 2 -m 0                     | FTP,1000,,,,0,
        -m 0 -m 1 -m 2                | HTTP,1100,,,,0,
        -m 7 -t 2 -t 7                | FTP,0011,,,,0,
        -f /my-test.bin -us anonymous | FTP,0010,,anonymous,/my-test.bin,0,
        --dstx h -f                   | FTP,0000,h,,,0,
        -dst-m 1                      | FTP,0100,,,,0,
        -dns 192.168.1.1 -size x      | FTP,0000,,,,0,192.168.1.1
        -dst <300 h> -f <600 f> -us <70 u> -dns <70 d> | FTP,0000,<63 h>,<63 u>,<511 f>,0,<63 d>)")) {
        Row words{"net-test"};
        std::string rest = c[0] + " ";
        for (size_t end; (end = rest.find(' ')) != std::string::npos; rest.erase(0, end + 1)) {
            if (end > 0)
                words.push_back(rest.substr(0, end));
        }
        std::vector<const char*> argv;
        for (const std::string& word : words)
            argv.push_back(word.c_str());
        SFtpBaseConfig ftp;
        SHttpBaseConfig http;
        set_test_defaults(&ftp, &http);
        ka_copy_text(g_dns_addr, "");
        bool is_http = false;
        const std::string trace = printed([&] {
            is_http = scan_options(static_cast<int>(argv.size()), argv.data(), &ftp, &http);
        });
        std::string got = is_http ? "HTTP," : "FTP,";
        for (const int flag : {ftp.do_get, ftp.do_put, ftp.use_pasv, ftp.use_port})
            got += std::to_string(flag);
        for (const char* field : {ftp.host_name, ftp.username, ftp.file_path})
            got += "," + std::string(field);
        EXPECT_EQ(c[1], got + "," + std::to_string(ftp.put_size) + "," + g_dns_addr);
        EXPECT_EQ(std::string(http.url).substr(0, 63), ftp.host_name);
        if (argv.size() == 4) {
            EXPECT_EQ("i is 3,argc is 4, argv[i] is  -f, argv[i+1] is (null)\n",
                      trace.substr(trace.find("i is 3")));
        }
    }
}

TEST_F(TheProgram, DownloadsFromARealWebServer) {
    startNginx();
    const std::string get = "-m 2 -dst http://127.0.0.1/file";
    EXPECT_EQ(whole, run(get + " >/tmp/out"));
    EXPECT_EQ("onMainLoop 16\n", readFile("/tmp/out").substr(readFile("/tmp/out").size() - 14));
    // Whatever becomes of its descriptors and of the reader of its output
    EXPECT_EQ(whole, run(get + " | head -1 >/tmp/out"));
    EXPECT_EQ(whole, run(get + " | sleep 4"));
    EXPECT_EQ(whole, run(get + " >&-"));
    EXPECT_EQ(whole, run(get + " <&- >&- 2>&-"));
    EXPECT_EQ(whole, run(get + " >/dev/full"));
    EXPECT_EQ("6 6666 153", run("-m 2 -dst 127.0.0.1/none?x >/dev/null"));
    server.reset();
    EXPECT_EQ("5 6500 0", run(get + " >/dev/null"));
    EXPECT_EQ("5 5000 0", run("-m 2 -dst http://no.such./ >/dev/null"));
    EXPECT_EQ("no record", run(">/dev/null").substr(0, 9));
}

TEST_F(TheProgram, TransfersWithRealFtpServers) {
    const std::string vsftpd = "exec " PEERS "/usr/sbin/vsftpd /tmp/vsftpd.conf";
    const std::string proftpd = "exec " PEERS "/usr/sbin/proftpd -n -c /tmp/proftpd.conf";
    writeFile("/tmp/vsftpd.conf", vsftpd_settings);
    writeFile("/tmp/proftpd.conf", proftpd_settings);
    for (const std::string& command : {vsftpd, proftpd}) {
        start(command, 21);
        for (const char* mode : {"0", "1", "2"}) {
            const std::string server_and_mode =
                std::string(" -t ") + mode + " -dst localhost -us anonymous -pw a@b >/tmp/out";
            EXPECT_EQ("6 666666 314572800", run("-m 0 -f /file" + server_and_mode))
                << command << mode;
            EXPECT_EQ("6 666666 3145728", run("-m 1 -f /pub/up -size 3000000" + server_and_mode));
            EXPECT_EQ(3145728U, std::filesystem::file_size("/tmp/srv/pub/up"));
            std::filesystem::remove("/tmp/srv/pub/up");
        }
        EXPECT_EQ("5 666540 0",
                  run("-m 0 -t 0 -f /none -dst localhost -us anonymous -pw a >/dev/null"));
        EXPECT_EQ("5 665000 0", run("-m 0 -t 0 -f /file -dst localhost -us root -pw x >/dev/null"));
    }
    server.reset();
    writeFile("/tmp/vsftpd.conf", vsftpd_settings + "pasv_enable=NO\n");
    start(vsftpd, 21);
    EXPECT_EQ("6 666666 314572800",
              run("-m 0 -t 2 -f /file -dst localhost -us anonymous -pw a >/tmp/out"));
    EXPECT_NE(std::string::npos, readFile("/tmp/out").find("buf: 127,0,0,1,"));
}

TEST_F(TheProgram, CapturesShellOutput) {
    std::string out(capture_size + 1, '\x55');
    const auto capture = [&](const char* command, size_t held = 0) {
        std::fill(out.begin(), out.end() - 1, 'o');
        out[held] = '\0';
        printed([&] { executeCMD(command, out.data()); });
        EXPECT_EQ('\x55', out.back());
        return std::string(out.c_str());
    };
    EXPECT_EQ("ooab\nc", capture("echo ab; printf 'x\\0' | tr -d x; printf c; exit 3", 2));
    EXPECT_EQ("", capture("true"));
    EXPECT_EQ(10239U, capture("yes").size());
    EXPECT_EQ("", capture("cat /dev/zero"));
    EXPECT_EQ(10239U, capture("trap '' PIPE; while :; do echo x; done", 20).size());
    EXPECT_EQ(10239U, capture("echo no room", 10239).size());

    shell(
        "mkdir /tmp/bin; printf '#!/bin/sh\\ncat /tmp/ifconfig.out' >/tmp/bin/ifconfig; chmod +x "
        "/tmp/bin/ifconfig");
    setenv("PATH", ("/tmp/bin:" + std::string(getenv("PATH"))).c_str(), 1);
    for (const Row& c : table(R"(
        eth0 inet addr:10.0.0.1 Bcast:10.255.255.255     | 1.2.3.4 | nothing found\n
        inet addr:10.64.64.64  P-t-P:10.112.112.112  Mask | 10.112.112.112 |
        x P-t-P:<200 9>                                  | <63 9>  |)")) {
        ka_copy_text(g_dns_addr, "1.2.3.4");
        writeFile("/tmp/ifconfig.out", c[0]);
        EXPECT_EQ(c[2] + "the dns addr is " + c[1] + "\n", printed(get_dns_addr));
        EXPECT_EQ(c[1], g_dns_addr);
    }
    ka_copy_text(g_dns_addr, "");
}
