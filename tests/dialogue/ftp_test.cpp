// Whole FTP runs against a scripted server.
#include "ftptest/cnettest_ftpbase.h"

#include <ctime>
#include <map>

#include "netbase/textvalue.h"
#include "tests/support/testbed.h"

namespace {

/// What the server answers to a command; then, if it says so, what it does on the data connection,
/// and a further reply.
struct Answer {
    std::string text;
    int bytes = 0;  // sent on the data connection
    /// Nothing; "closes"; "resets"; "holds" it open until the client closes; "late": the further
    /// reply comes before the bytes; "drains" it; "ignores" what comes on it.
    std::string data{};
    std::string further{};
    bool hangUp = false;  // the control connection ends when the data begins
};

/// By command, the greeting being that of "". "PASV" stands for an endpoint that is listened on.
using Script = std::map<std::string, Answer>;

/// A server that is content with everything; its file has 100000 bytes.
const Script good = {{"", {"220 ready\r\n"}},
                     {"USER", {"331 password\r\n"}},
                     {"PASS", {"230 welcome\r\n"}},
                     {"TYPE", {"200 binary\r\n"}},
                     {"PASV", {"PASV"}},
                     {"PORT", {"200 port\r\n"}},
                     {"EPRT", {"200 eprt\r\n"}},
                     {"SIZE", {"213 100000\r\n"}},
                     {"ALLO", {"202 no need\r\n"}},
                     {"RETR", {"150 open\r\n", 100000, "closes", "226 done\r\n"}},
                     {"STOR", {"125 open\r\n", 0, "drains", "226 done\r\n"}},
                     {"QUIT", {"221 bye\r\n"}}};

Script with(const std::string& command, const Answer& answer, Script script = good) {
    script[command] = answer;
    return script;
}

class FtpServer {
  public:
    FtpServer(Script script, int family, bool cut)
        : m_script(std::move(script)), m_family(family), m_cut(cut), m_listener(family) {}
    int port() const { return m_listener.port(); }

    void serve() {
        Connection ctrl = m_listener.accept();
        for (std::string line; act(ctrl, line) && !(line = ctrl.readUntil("\r\n")).empty();)
            heard += line;
    }

    std::string heard;  // all that the client sent
    int64_t received = 0;

  private:
    bool act(Connection& ctrl, const std::string& line) {
        const std::string command = line.substr(0, line.find_first_of(" \r"));
        if (command == "PORT" || command == "EPRT")
            m_active = line;
        const Answer& answer = m_script[command];
        std::string text = answer.text;
        if (text == "PASV") {
            m_passive = std::make_unique<Listener>(m_family);
            text = "227 Entering Passive Mode (127,0,0,1," +
                   std::to_string(m_passive->port() / 256) + "," +
                   std::to_string(m_passive->port() % 256) + ")\r\n";
        }
        say(ctrl, text);
        if (!answer.data.empty()) {
            Connection data = openData();
            if (answer.hangUp)
                ctrl.close();
            transfer(data, ctrl, answer);
            data.close();
            sleepMs(60);  // a reply that came with the end of the data would race it
        }
        if (answer.data != "late")
            say(ctrl, answer.further);
        return !answer.hangUp;
    }

    void say(Connection& ctrl, const std::string& text) {
        // Endpoint and size are taken from a reply's first piece, so those two stay whole.
        const bool cut = m_cut && text.substr(0, 3) != "227" && text.substr(0, 3) != "213";
        ctrl.say(text.substr(0, cut ? 4 : std::string::npos));
        if (cut && text.size() > 4) {
            sleepMs(5);
            ctrl.say(text.substr(4), 1);
        }
    }

    Connection openData() {
        if (m_active.empty())
            return m_passive->accept();
        const bool inet6 = m_active[0] == 'E';
        const size_t low = m_active.find_last_of(inet6 ? "|" : ",", m_active.size() - 4);
        const size_t high = m_active.find_last_of(',', low - 1);
        const int at = std::stoi(m_active.substr(low + 1)) +
                       (inet6 ? 0 : 256 * std::stoi(m_active.substr(high + 1)));
        const CSockAddr to =
            inet6 ? CSockAddr::inet6(in6addr_loopback, at) : CSockAddr::inet4(ip4("127.0.0.1"), at);
        const int sock = socket(to.family(), SOCK_STREAM, 0);
        EXPECT_EQ(0, connect(sock, to.get(), to.length()));
        return Connection(sock);
    }

    void transfer(Connection& data, Connection& ctrl, const Answer& answer) {
        const timeval limit{10, 0};
        if (answer.data == "late") {
            sleepMs(60);
            say(ctrl, answer.further);
            sleepMs(60);
        }
        data.say(std::string(static_cast<size_t>(answer.bytes), 'd'));
        if (answer.data == "holds")
            ka_read_wait(data.fd(), &limit);
        if (answer.data == "ignores")
            ka_read_wait(ctrl.fd(), &limit);
        if (answer.data == "resets") {
            sleepMs(60);
            data.reset();
        }
        char block[65536];
        for (ssize_t n;
             answer.data == "drains" && (n = recv(data.fd(), block, sizeof(block), 0)) > 0;)
            received += n;
    }

    Script m_script;
    int m_family;
    bool m_cut;
    std::string m_active;
    std::unique_ptr<Listener> m_passive;
    Listener m_listener;
};

class FtpRun : public OwnHost {
  protected:
    void SetUp() override {
        OwnHost::SetUp();
        ka_copy_text(config.file_path, "/f");
        ka_copy_text(config.username, "u");
        ka_copy_text(config.password, "p");
        config.put_size = 1000000;
        config.resp_timeout = 300000;
        config.data_timeout = 300000;
        config.ctrl_conn_timeout = config.data_conn_timeout = 2000000;
    }

    /// Runs a test: "get", "put" or both in a word, "pasv", "port", both or none; the record's
    /// outcome.
    std::string run(const Script& script, const std::string& what, bool cut = false) {
        const auto has = [&](const char* word) { return what.find(word) != std::string::npos; };
        FtpServer server(script, config.use_inet6 != 0 ? AF_INET6 : AF_INET, cut);
        test = std::make_unique<CNetTest_FtpBase>(0, 0);
        ka_copy_text(config.host_name, config.use_inet6 != 0 ? "::1" : "127.0.0.1");
        config.ctrl_port = server.port();
        config.do_get = has("get") ? 1 : 0;
        config.do_put = has("put") ? 1 : 0;
        config.use_pasv = has("pasv") ? 1 : 0;
        config.use_port = has("port") ? 1 : 0;
        test->m_stFtpBaseConfig = config;
        shell("rm -f /tmp/ftp???rst");
        {
            Peer peer([&] { server.serve(); });
            trace = printed([&] {
                test->startTest();
                test->onMainLoop();
            });
            EXPECT_TRUE(test->m_sockeData == -1 && test->m_sockeListen == -1);
            ka_close_socket(test->m_sockeCtrl);
        }
        heard = server.heard;
        received = server.received;
        return outcome(readFile(has("get") ? "/tmp/ftpgetrst" : "/tmp/ftpputrst"), 14);
    }

    SFtpBaseConfig config{};
    std::unique_ptr<CNetTest_FtpBase> test;
    std::string heard;
    std::string trace;
    int64_t received = 0;
};

const std::string login = "USER u\r\nPASS p\r\nTYPE I\r\n";

}  // namespace

TEST_F(FtpRun, DownloadsWithOneAnswerChanged) {
    // The command whose answer is changed, the answer (with bytes, data and further reply), the
    // outcome, and the last command before QUIT. "w" in front: not the same when it comes in
    // pieces.
    for (const Row& c : table(R"(
           | QUIT | 221 bye\r\n     |        |        |               | 6 666666 100000 | RETR /f
           | USER | 230 in\r\n      |        |        |               | 6 666666 100000 | RETR /f
           | TYPE |                 |        |        |               | 6 666666 100000 | RETR /f
           | SIZE | 550 no\r\n      |        |        |               | 6 666666 100000 | RETR /f
           | SIZE | 213 100001\r\n  |        |        |               | 5 666665 100000 | RETR /f
           | RETR | 110 mark\r\n    | 100000 | closes | 226 ok\r\n    | 6 666666 100000 | RETR /f
         w | RETR | 150-a\r\n150 b\r\n | 100000 | closes | 226 ok\r\n | 6 666666 100000 | RETR /f
         w | RETR | 150 a\r\n226 b\r\n | 100000 | closes |            | 6 666666 100000 | RETR /f
           | RETR | 150 a\r\n       | 100000 | closes |               | 6 666666 100000 | RETR /f
           | RETR | 150 a\r\n       | 5      | resets | 426 no\r\n    | 5 666665 5      | RETR /f
           | RETR | 150 a\r\n       | 5      | holds  |               | 5 666665 5      | RETR /f
           | RETR | 151 odd\r\n     |        |        |               | 5 666540 0      | RETR /f
           | RETR | 550 no\r\n      |        |        |               | 5 666540 0      | RETR /f
           |      | 421 busy\r\n    |        |        |               | 5 650000 0      |
           |      | hello\r\n       |        |        |               | 5 650000 0      |
           |      |                 |        |        |               | 5 650000 0      |
           | USER | 530 no\r\n      |        |        |               | 5 665000 0      | USER u
           | PASS | 331 again\r\n   |        |        |               | 5 665000 0      | PASS p
           | PASV | 502 no\r\n      |        |        |               | 5 665400 0      | PASV
           | PASV | 227 Entering passive mode (127,0,0,1,1,1)\r\n | | | | 5 665400 0     | PASV
           | PASV | 227 Entering Passive Mode (127,0,0,1,0,1)\r\n | | | | 5 666450 0     | SIZE /f)")) {
        const Answer answer{c[2], std::stoi("0" + c[3]), c[4], c[5]};
        for (const bool cut : {false, true}) {
            if (cut && c[0] == "w")
                continue;
            EXPECT_EQ(c[6], run(with(c[1], answer), "get pasv", cut)) << c[1] << c[2] << cut;
            const std::string last = c[7].empty() ? "" : c[7] + "\r\n";
            EXPECT_TRUE(("\r\n" + heard).find("\r\n" + last + "QUIT\r\n") != std::string::npos)
                << c[2] << heard;
        }
    }
}

TEST_F(FtpRun, CommandsAndTracesOfADownload) {
    run(good, "get pasv");
    EXPECT_EQ(login + "PASV\r\nSIZE /f\r\nRETR /f\r\nQUIT\r\n", heard);
    EXPECT_EQ(static_cast<int64_t>(heard.size()), test->m_iCtrlSendSize);
    for (const char* mark :
         {"in 6\n", "in 7\nin 8\nin 9\nin 10\nin 11\nin 12\nin 13\nin 14\nin 15\n",
          "in 21\nin 23\nin 16\nin 17\nin 18\n", "at the end\n"})
        EXPECT_NE(std::string::npos, trace.find(mark)) << mark;
    EXPECT_EQ("6 666666 5",
              run(with("SIZE", {"213\r\n"}, with("RETR", {"150 a\r\n", 5, "closes"})), "get pasv"));
    EXPECT_EQ(
        "5 666665 0",
        run(with("SIZE", {"213 0\r\n"}, with("RETR", {"150 a\r\n", 0, "closes"})), "get pasv"));
    EXPECT_EQ("5 665000 0", run(with("PASS", {"", 0, "", "", true}), "get pasv"));
    EXPECT_EQ("5 666450 0", run(good, "get"));  // neither mode
    EXPECT_EQ(login + "SIZE /f\r\nQUIT\r\n", heard);
}

TEST_F(FtpRun, ActiveModeAndFallback) {
    EXPECT_EQ("6 666666 100000", run(with("PASV", {"502 no\r\n"}), "get pasv port", true));
    EXPECT_TRUE(test->m_bPasvFail);
    EXPECT_EQ(login + "PASV\r\nPORT 127,0,0,1,", heard.substr(0, login.size() + 21));
    EXPECT_EQ("5 665400 0", run(with("PORT", {"500 no\r\n"}), "get port"));
    EXPECT_EQ("5 666650 0", run(with("RETR", {"150 but I do not come\r\n"}), "get port"));  // 5 s
    EXPECT_TRUE(test->m_bDataConnFail);
    config.use_inet6 = 1;
    EXPECT_EQ("6 666666 100000", run(good, "get pasv"));
    EXPECT_EQ("6 666666 1048576", run(good, "put port"));
    EXPECT_NE(std::string::npos, heard.find("EPRT |2|::1|"));
}

TEST_F(FtpRun, A226ThatOvertakesTheData) {
    const Script late = with("RETR", {"150 a\r\n", 100000, "late", "226 b\r\n"});
    EXPECT_EQ("6 666666 100000", run(late, "get pasv"));
    EXPECT_NE(std::string::npos, trace.find("data close(226) already received!\n"));
    EXPECT_EQ("5 666664 0", run(with("SIZE", {"550 no\r\n"}, late), "get pasv"));
    EXPECT_TRUE(test->m_bGet226Seen && test->m_bTranDone);
}

TEST_F(FtpRun, Uploads) {
    for (const bool cut : {false, true}) {
        EXPECT_EQ("6 666666 1048576", run(good, "put pasv", cut));
        EXPECT_EQ(login + "PASV\r\nALLO 1000000\r\nSTOR /f\r\nQUIT\r\n", heard);
        EXPECT_EQ(1048576, received);
        EXPECT_TRUE(test->m_bPutDone);
    }
    EXPECT_EQ("5 666540 0", run(with("STOR", {"200 odd\r\n"}), "put pasv"));
    EXPECT_EQ("5 666665 0", run(with("STOR", {"150 go\r\n"}), "put"));  // no data connection
    EXPECT_TRUE(test->m_bSendError);
    config.put_size = 0;
    EXPECT_EQ("6 666666 524288", run(good, "put port"));
    for (const Row& c : table(R"(
        524289               | 524289
        -1                   | 4294967295
        -9223372036854775808 | 2147483648
        5000000000           | 5000000000)")) {
        config.put_size = ka_text_to_int64(c[0].c_str());
        EXPECT_EQ("5 666500 0", run(with("ALLO", {"550 full\r\n"}), "put pasv"));
        EXPECT_NE(std::string::npos, heard.find("ALLO " + c[1] + "\r\n"));
        EXPECT_NE(std::string::npos,
                  trace.find("m_iPutFileSize is " + c[1] + "\nthe ctrl_retcode is 550\n"));
    }
}

TEST_F(FtpRun, AnUploadIntoAPeerThatStopsReadingEnds) {
    config.put_size = 1 << 30;
    EXPECT_EQ("5 666665", run(with("STOR", {"150 go\r\n", 0, "ignores"}), "put pasv").substr(0, 8));
    EXPECT_NE(0, test->m_iDataSendSize % 524288);  // the part that was handed over counts
}

TEST_F(FtpRun, AClosedControlConnectionDoesNotMakeItSpin) {
    config.data_timeout = 1500000;
    const std::clock_t before = std::clock();
    EXPECT_EQ("5 666665 5", run(with("RETR", {"150 a\r\n", 5, "holds", "", true}), "get pasv"));
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 2);
    EXPECT_EQ("6 666666 9",
              run(with("SIZE", {"213 9\r\n"}, with("RETR", {"150 a\r\n", 9, "closes", "", true})),
                  "get pasv"));
}

TEST_F(FtpRun, EndlessRepliesEnd) {
    std::string lines;
    while (lines.size() < 200000)
        lines += "331-and so on\r\n";
    EXPECT_EQ("5 665000 0", run(with("USER", {lines, 0, "", "", true}), "get pasv"));
    EXPECT_EQ("5 665000 0", run(with("USER", {"530-" + std::string(2000, 'x')}), "get pasv"));
}

TEST_F(FtpRun, BothDirections) {
    run(with("STOR", {"150 go\r\n"}), "get put pasv");
    EXPECT_EQ(login + "PASV\r\nSIZE /f\r\nALLO 1000000\r\nRETR /f\r\nSTOR /f\r\nQUIT\r\n", heard);
}

TEST_F(FtpRun, ALineThatDoesNotFitIsNotSent) {
    ka_copy_text(config.file_path, std::string(505, 'x'));
    EXPECT_EQ("5 666540 0", run(good, "get pasv"));
    EXPECT_EQ(login + "PASV\r\nQUIT\r\n", heard);
    ka_copy_text(config.file_path, std::string(504, 'x'));
    EXPECT_EQ("6 666666 100000", run(good, "get pasv"));
}

TEST_F(FtpRun, RecordsWithoutAServer) {
    CNetTest_FtpBase ftp(0, 0);
    const auto record = [&] {
        printed([&] { ftp.reportFtpTestResult(true); });
        return outcome(readFile("/tmp/ftpgetrst"), 14);
    };
    printed([&] {
        ftp.startTest();
        ftp.onMainLoop();
    });
    EXPECT_EQ("", readFile("/tmp/ftpgetrst") + readFile("/tmp/ftpputrst"));  // no direction
    EXPECT_TRUE(ftp.m_bDnsFail);
    ftp.m_stFtpBaseConfig.do_get = 1;
    EXPECT_EQ("5 500000 0", record());
    EXPECT_NE(std::string::npos,
              readFile("/tmp/ftpgetrst").find(",ctrlput_step,0,dataconn_step:0,"));
    ftp.m_eStepPrepare = NET_STEP_INPROGRESS;
    EXPECT_EQ("4 400000 0", record());
    EXPECT_EQ("srv_resp is 0,data_size is 0\ndata_time is 0\n",
              printed([&] { ftp.reportFtpTestResult(false); }));
    EXPECT_EQ("5 400000 0", outcome(readFile("/tmp/ftpgetrst"), 14));
    CNetBase::exitExec();
    EXPECT_EQ("5 400000 0", record());
}
