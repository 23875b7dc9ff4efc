// The FTP channels, and whole runs against a scripted server.
#include "ftptest/cnettest_ftpbase.h"

#include <algorithm>
#include <ctime>
#include <map>

#include "netbase/support/textvalue.h"
#include "tests/support/testbed.h"

namespace {

/// What the server answers to a command ("": it greets):
///     answer = reply [ data [ action [ further reply ] ] ]
///     reply  = text in the language of tables, or "PASV": a 227 with the passive endpoint
///     data   = what it sends on the data connection once it has replied; with a action only.
///              "exit" without one: the test is told to end before the reply
///     action   = "closes" | "resets" | "holds" until the client closes | "drains" what comes
///            | "ignores" what comes | "late": the further reply comes before the data
///            | "tells": it comes behind the data, which is not closed before the client does
///            | "leaves" | "leaves holding": the control connection ends before the data
using Script = std::map<std::string, Row>;

const std::string file(100000, 'd');

/// A server that is content with everything.
const Script good = {{"", {"220 ready\r\n"}},
                     {"USER", {"331 password\r\n"}},
                     {"PASS", {"230 welcome\r\n"}},
                     {"TYPE", {"200 binary\r\n"}},
                     {"PASV", {"PASV"}},
                     {"PORT", {"200 port\r\n"}},
                     {"EPRT", {"200 eprt\r\n"}},
                     {"SIZE", {"213 100000\r\n"}},
                     {"ALLO", {"202 no need\r\n"}},
                     {"RETR", {"150 open\r\n", file, "closes", "226 done\r\n"}},
                     {"STOR", {"125 open\r\n", "", "drains", "226 done\r\n"}},
                     {"QUIT", {"221 bye\r\n"}}};

Script with(const std::string& command, const Row& answer, Script script = good) {
    script[command] = answer;
    return script;
}

/// Serves one client by a script. `cut`: replies come in pieces.
struct FtpServer {
    FtpServer(Script s, int f, bool c) : script(std::move(s)), family(f), cut(c) {}

    void serve() {
        Connection ctrl = listener.accept();
        std::string line;
        do {
            heard += line;
            act(ctrl, line);
        } while (!(line = ctrl.readUntil("\r\n")).empty());
    }

    void act(Connection& ctrl, const std::string& line) {
        const std::string command = line.substr(0, line.find_first_of(" \r"));
        Row answer = script[command];
        answer.resize(4);
        int high = 0;
        if (sscanf(line.c_str(), "PORT 127,0,0,1,%d,%d", &high, &port) == 2)
            port += 256 * high;
        sscanf(line.c_str(), "EPRT |2|::1|%d|", &port);
        if (answer[0] == "PASV")
            answer[0] = "227 Entering Passive Mode (127,0,0,1,0," + std::to_string(passive.port()) +
                        ")\r\n";
        g_bNetAppExitFlag = g_bNetAppExitFlag || answer[1] == "exit";
        // Endpoint and size are taken from a reply's first piece.
        ctrl.say(answer[0], cut && command != "PASV" && command != "SIZE");
        if (answer[2] == "late")
            ctrl.say("<pause 100>" + std::exchange(answer[3], "") + "<pause 100>");
        if (answer[2].substr(0, 6) == "leaves")
            ka_close_socket(ctrl.fd);
        if (!answer[2].empty())
            transfer(ctrl, answer);
        ctrl.say(answer[3], cut);
    }

    void transfer(Connection& ctrl, Row& answer) {
        const std::string& does = answer[2];
        Connection data = port == 0 ? passive.accept() : Connection(socket(family, SOCK_STREAM, 0));
        const CSockAddr to = CSockAddr::localOf(listener.sock.get()).withPort(port);
        if (port != 0)
            connect(data.fd, to.get(), to.length());
        data.say(answer[1]);
        std::string bytes_in(1 << 20, 'x');
        for (ssize_t n;
             does == "drains" && (n = recv(data.fd, bytes_in.data(), bytes_in.size(), 0)) > 0;) {
            received += n;
            zeros += std::count(bytes_in.begin(), bytes_in.begin() + n, '\0');
        }
        if (does == "tells")
            ctrl.say(std::exchange(answer[3], ""));
        if (does == "holds" || does == "leaves holding" || does == "tells")
            data.readUntil("never");
        if (does == "ignores")
            ctrl.readUntil("\n");
        usleep(60000);
        if (does == "resets")
            data.reset();
        ka_close_socket(data.fd);
        usleep(60000);  // a reply that came with the end of the data would race it
    }

    Script script;
    int family;
    bool cut;
    Listener listener{family};
    Listener passive{family};
    int port = 0;  ///< of the client, in active mode
    std::string heard;
    int64_t received = 0;
    int64_t zeros = 0;  ///< of these bytes
};

/// Notes each report: r(unning) or f(inal), the bytes of the commands sent before, the verdict; and
/// the transfer's s(tart).
struct Probe : CNetTest_FtpBase {
    Probe() : CNetTest_FtpBase(0, 0) {}
    int reportFtpTestResult(bool running) override {
        CNetTest_FtpBase::reportFtpTestResult(running);
        reports += (running ? " r" : " f") + std::to_string(m_iCtrlSendSize) + ":" +
                   outcome(readFile("/tmp/ftpgetrst")).substr(0, 1);
        return 0;
    }
    int onTranExStart(const timeval* start) override {
        reports += start == &m_tvTranStart && ka_tv_isset(*start) ? " s" : " early";
        const std::string much(65536, '\0');
        for (ssize_t n = 0; fillFirst && n >= 0; filled += std::max<ssize_t>(n, 0))
            n = send(m_sockeData, much.data(), much.size(), MSG_DONTWAIT);
        return 0;
    }
    bool fillFirst = false;  ///< the transfer begins with a send queue that takes nothing
    int64_t filled = 0;
    std::string reports;
};

class FtpRun : public OwnHost {
  protected:
    /// Runs a test: "get", "put" or both, "pasv", "port", both or none, "again" for the object of
    /// the run before, "nowhere" for a name that does not resolve; the record's outcome.
    std::string run(const Script& script, const std::string& what, bool cut = false) {
        g_bNetAppExitFlag = false;
        FtpServer server(script, config.use_inet6 != 0 ? AF_INET6 : AF_INET, cut);
        const auto asked = [&](const char* word) { return what.find(word) < what.size(); };
        if (!asked("again"))
            test = std::make_unique<Probe>();
        test->fillFirst = fillFirst;
        const char* host = config.use_inet6 != 0 ? "::1" : "127.0.0.1";
        ka_copy_text(config.host_name, asked("nowhere") ? "no.such." : host);
        config.ctrl_port = server.listener.port();
        config.do_get = asked("get");
        config.do_put = asked("put");
        config.use_pasv = asked("pasv");
        config.use_port = asked("port");
        test->m_stFtpBaseConfig = config;
        shell("rm -f /tmp/ftp???rst");
        {
            const auto peer = std::async(std::launch::async, [&] { server.serve(); });
            trace = printed([&] {
                EXPECT_EQ(0, test->startTest());
                EXPECT_EQ(0, test->onMainLoop());
            });
            shutdown(server.listener.sock.get(), SHUT_RDWR);  // whether anybody came or not
            EXPECT_EQ(-1, test->m_sockeData);
            EXPECT_EQ(-1, test->m_sockeListen);
            ka_close_socket(test->m_sockeCtrl);
        }
        heard = server.heard;
        received = server.received;
        zeros = server.zeros;
        port = server.port;
        reason = test->m_szReason;
        return outcome(readFile(config.do_get != 0 ? "/tmp/ftpgetrst" : "/tmp/ftpputrst"));
    }

    SFtpBaseConfig config{0,   0,    0,       0,       0,       "",     21,     "u",
                          "p", "/f", 1000000, 2000000, 2000000, 300000, 300000, 0};
    std::unique_ptr<Probe> test;
    /// What the client sent last before QUIT.
    std::string lastCommand() const {
        const std::string quit = "QUIT\r\n";
        const size_t end = heard.size() - std::min(heard.size(), quit.size());
        const size_t last = heard.rfind("\r\n", end - std::min<size_t>(end, 3));
        return heard.substr(last == std::string::npos ? 0 : last + 2);
    }

    std::string heard;
    std::string trace;
    std::string reason;
    int64_t received = 0;
    int64_t zeros = 0;
    bool fillFirst = false;
    int port = 0;  ///< that the client announced
};

/// A trace with "N" for the numbers that vary.
std::string steady(std::string text) {
    for (const std::string mark :
         {"=", "Ctrl is ", "Port is ", "resp is ", "time is ", "min is "}) {
        for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos;) {
            at += mark.size();
            text.replace(at, text.find_first_not_of("-0123456789", at) - at, "N");
        }
    }
    return text;
}

const std::string login = "USER u\r\nPASS p\r\nTYPE I\r\n";

}  // namespace

TEST_F(FtpRun, ReadsReplies) {
    // The row's name, the result, the bytes consumed, and what arrives, one read a field.
    for (const Row& c : table(R"(
        two in one read      | 21 | 21 | 220 ready\r\n221 next\r\n
        the next one stays   | 11 | 11 | 220 ready\r\n | 221 next\r\n
        a tab                | 11 | 11 | 220\tready\r\n
        two lines            | 14 | 14 | 220-a\r\n220 b\r\n
        NUL                  | 9  | 9  | 220 a\0b\r\n
        a read each line     | 7  | 14 | 220-a\r\n | 220 b\r\n
        a line in two reads  | 13 | 18 | 150-a\r\n226 Do | ne \r\n
        the middle in two    | 16 | 26 | 150-a\r\n226-bcdef | g\r\n226 z\r\n
        a later line goes on | 5  | 14 | 220 a | \r\n220-a\r\n
        cut behind the code  | 3  | 13 | 220 | -\r\n | 220 x\r\n
        cut in the code      | -1 | 2  | 22 | 0 a\r\n
        cut in the next code | -1 | 9  | 220-a\r\n22
        a line without code  | -1 | 11 | 230-a\r\n | \sb\r\n | 230 OK\r\n
        no digit             | -1 | 7  | 2x0 a\r\n
        below the digits     | -1 | 7  | 22/ a\r\n
        above the digits     | -1 | 7  | 2:0 a\r\n
        a line without end   | -1 | 1023 | 220 <2000 x>
        nothing              | -1 | 0  |)")) {
        SCOPED_TRACE(c[0]);
        int ends[2];
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends));  // it keeps the pieces apart
        const CDescriptor peer(ends[1]);
        CNetTest_FtpBase ftp(0, 0);
        ftp.m_sockeCtrl = ends[0];
        for (size_t i = 3; i < c.size(); ++i)
            send(peer.get(), c[i].data(), c[i].size(), 0);
        char text[1024] = "old";
        EXPECT_EQ(c[1], std::to_string(ftp.recvFtpCtrl(50000, text, sizeof(text))));
        EXPECT_EQ(c[2], std::to_string(ftp.m_iCtrlRecvSize));
        EXPECT_EQ(c[3].substr(0, 1023).c_str(), std::string(text));
    }
}

TEST_F(FtpRun, OneAnswerChanged) {
    // The row's name, what is run ("whole": it is not the same with answers in pieces), the
    // outcome, the beginning of its reason, the last command before QUIT, the command whose answer
    // is changed, the answer.
    for (const Row& c : table(R"(
        no password      | get pasv       | 6 666666 100000 | | RETR /f | USER | 230 in\r\n
        TYPE unanswered  | get pasv       | 6 666666 100000 | | RETR /f | TYPE |
        no size          | get pasv       | 6 666666 100000 | | RETR /f | SIZE | 550 no\r\n
        a byte missing   | get pasv       | 5 666665 100000 | server closed after 100000 of 100001 bytes | RETR /f | SIZE | 213 100001\r\n
        a run again      | get pasv again | 6 666666 100000 | | RETR /f | QUIT | 221 bye\r\n
        no PASV          | get pasv port  | 6 666666 100000 | | RETR /f | PASV | 502 no\r\n
        marker 110       | get pasv       | 6 666666 100000 | | RETR /f | RETR | 110 m\r\n           | <100000 d> | closes | 226 ok\r\n
        150 with 226     | get pasv whole | 6 666666 100000 | | RETR /f | RETR | 150 a\r\n226 b\r\n  | <100000 d> | closes |
        control ends     | get pasv       | 6 666666 100000 | | RETR /f | RETR | 150 a\r\n           | <100000 d> | leaves |
        226 before data  | get pasv       | 6 666666 100000 | | RETR /f | RETR | 150 a\r\n           | <100000 d> | late   | 226 b\r\n
        data reset       | get pasv       | 5 666665 5      | receiving failed after 5 bytes: Connection reset by peer | RETR /f | RETR | 150 a\r\n           | ddddd      | resets | 426 no\r\n
        data stalls      | get pasv       | 5 666665 5      | nothing received for 0.3 s | RETR /f | RETR | 150 a\r\n           | ddddd      | holds  |
        RETR 151         | get pasv       | 5 666540 0      | RETR /f: server answered 151 | RETR /f | RETR | 151 odd\r\n
        nobody connects  | get port whole | 5 666650 0      | server did not connect within 5 s | RETR /f | RETR | 150 go\r\n
        no address       | get nowhere    | 5 500000 0      | no.such. does not resolve |  |      |
        no greeting      | get pasv       | 5 650000 0      | greeting: server answered hell |  |      | hello\r\n
        user refused     | get pasv       | 5 665000 0      | login: server answered 530 | USER u  | USER | 530 no\r\n
        password refused | get pasv       | 5 665000 0      | login: server answered 331 | PASS p  | PASS | 331 again\r\n
        odd PASV text    | get pasv       | 5 665400 0      | PASV: server answered 227 Entering passive mode (127,0,0,1,1,1) | PASV    | PASV | 227 Entering passive mode (127,0,0,1,1,1)\r\n
        PORT refused     | get port       | 5 665400 0      | PORT: server answered 500 | PORT 1  | PORT | 500 no\r\n
        nobody listens   | get pasv       | 5 666450 0      | connection refused by 127.0.0.1 port 1 | SIZE /f | PASV | 227 Entering Passive Mode (127,0,0,1,0,1)\r\n
        no data mode     | get            | 5 666450 0      | neither a passive nor an active data connection was asked for | SIZE /f | QUIT | 221 bye\r\n
        exit at PASS     | get pasv       | 5 666000 0      | | PASS p  | PASS | 230 a\r\n | exit
        exit at TYPE     | get pasv       | 5 666400 0      | | TYPE I  | TYPE | 200 a\r\n | exit
        exit at SIZE     | get pasv       | 5 666400 0      | | SIZE /f | SIZE | 213 5\r\n | exit
        exit at RETR     | get pasv       | 5 666640 0      | | RETR /f | RETR | 150 a\r\n | exit
        exit at ALLO     | put pasv       | 5 666400 0      | | ALLO 10 | ALLO | 200 a\r\n | exit
        exit at STOR     | put pasv       | 5 666640 0      | | STOR /f | STOR | 150 a\r\n | exit
        an upload        | put pasv       | 6 666666 1048576 | | STOR /f | QUIT | 221 bye\r\n
        STOR 200         | put pasv       | 5 666540 0      | STOR /f: server answered 200 | STOR /f | STOR | 200 odd\r\n
        nowhere to put   | put            | 5 666665 0      | sending failed after 0 bytes: | STOR /f | STOR | 150 but no data connection\r\n)")) {
        for (const bool cut : {false, true}) {
            if (cut && c[1].find("whole") != std::string::npos)
                continue;
            SCOPED_TRACE(c[0] + (cut ? ", in pieces" : ""));
            const timeval start = ka_now();
            EXPECT_EQ(c[2], run(with(c[5], Row(c.begin() + 6, c.end())), c[1], cut));
            EXPECT_EQ(c[3], reason.substr(0, c[3].size()));
            EXPECT_EQ(c[3].empty(), reason.empty()) << reason;
            EXPECT_LT(ka_tv_span_msecs(start, ka_now()), 8000);  // the server's patience is longer
            EXPECT_EQ(c[4], lastCommand().substr(0, c[4].size())) << heard;
        }
    }
}

TEST_F(FtpRun, TheCourseOfADownload) {
    const std::string part = "dd<pause 220>";
    const Row slow = {"150 a\r\n", part + part + part + part + part + "dd", "closes"};
    EXPECT_EQ("6 666666 12", run(with("RETR", slow, with("SIZE", {"213 12\r\n"})), "get pasv"));
    EXPECT_EQ(login + "PASV\r\nSIZE /f\r\nRETR /f\r\nQUIT\r\n", heard);
    // One as data flows, the last when all is said.
    EXPECT_EQ(" r0:4 s r48:4 f54:6", test->reports);
    timeval last{};
    for (const timeval& time :
         {test->m_tvTestStart, test->m_tvCtrlConnStart, test->m_tvCtrlConnEnd, test->m_tvLoginEnd,
          test->m_tvDataConnStart, test->m_tvTranStart, test->m_tvTranEnd}) {
        EXPECT_TRUE(ka_tv_later(time, last));
        last = time;
    }
    EXPECT_GE(ka_tv_span_msecs(test->m_tvTranStart, last), 1000);

    run(with("", {"421 busy\r\n"}), "get pasv");
    EXPECT_STREQ(
        "overall_step:5,step_prepare:6,ctrlconn_step:5,ctrlauth_step:0,ctrlput_step,0,"
        "dataconn_step:0,datatran_step:0,contime:0,trtime:0,totdata:0,curspeed:0,"
        "minspeed:0,maxspeed:0,avgspeed:0",
        readFile("/tmp/ftpgetrst").c_str());
    EXPECT_EQ(" r0:4 f0:5", test->reports);  // before QUIT
    EXPECT_TRUE(ka_tv_isset(test->m_tvCtrlFail));
    EXPECT_EQ("QUIT\r\n", heard);
    EXPECT_EQ("no record", run(good, "pasv").substr(0, 9));  // no direction
    run(with("STOR", {"150 go\r\n"}), "get put pasv");
    EXPECT_EQ(login + "PASV\r\nSIZE /f\r\nALLO 1000000\r\nRETR /f\r\nSTOR /f\r\nQUIT\r\n", heard);
}

TEST_F(FtpRun, Traces) {
    const std::string start =
        "host name is 127.0.0.1\nin resolvein4 1\nthe reslve host name is 127.0.0.1\nin resolvein4 "
        "2\nin 6\nm_sockeCtrl is N\nm_iCtrlPort is N\nm_stFtpBaseConfig.use_inet6  is 0\n"
        "m_in4CtrlAddr is 127.0.0.1\nin 7\nin 8\nin 9\nin 10\nin 11\nin 12\nin 13\n";
    const std::string end =
        "in 16\nin 17\nin 18\nspeed: min=N, max=N, cur=N, avg=N, bytes=N, msecs=Ntransfer all min "
        "is "
        "N\nreceived data is ";
    run(with("RETR", {"150 a\r\n", "<pause 100>ddddd", "closes"}, with("SIZE", {"213 5\r\n"})),
        "get pasv");
    EXPECT_EQ("srv_resp is N,data_size is 0\ndata_time is N\n" + start +
                  "in 14\nin 15\nin 21\nin 23\n" + end +
                  "5, send data is 0\nsrv_resp is N,data_size is 5\ndata_time is N\nat the end\n",
              steady(trace));
    config.put_size = 1;
    run(with("STOR", {"150 a\r\n", "<pause 100>", "drains", "226 b\r\n"}), "put pasv");
    EXPECT_EQ(start + "m_iPutFileSize is 1\nin 14\nin 15\n" + end +
                  "0, send data is 524288\nat the end\n",
              steady(trace));
}

TEST_F(FtpRun, WhatFollowsABurst) {
    const std::string burst(1 << 24, 'd');  // by its end the client waits for batches
    config.data_timeout = 1500000;
    for (const Row& c : table(R"(
        last bytes    | 6 666666 16777221 | 213 16777221\r\n | closes | hello
        after a stall | 6 666666 16777221 | 213 16777221\r\n | closes | <pause 500>hello
        a trickle     | 6 666666 16777220 | 213 16777220\r\n | closes | d<pause 600>d<pause 600>d<pause 600>d
        a close       | 6 666666 16777221 | 550 no\r\n       | closes | <pause 50>hello
        a reply       | 5 666664 16777221 | 550 no\r\n       | tells  | <pause 50>hello)")) {
        SCOPED_TRACE(c[0]);
        const Row answer = {"150 a\r\n", burst + c[4], c[3], "226 b\r\n"};
        EXPECT_EQ(c[1], run(with("RETR", answer, with("SIZE", {c[2]})), "get pasv"));
    }
}

TEST_F(FtpRun, ActiveMode) {
    run(with("PASV", {"502 no\r\n"}), "get pasv port");
    EXPECT_EQ(login + "PASV\r\nPORT 127,0,0,1,", heard.substr(0, login.size() + 21));
    EXPECT_TRUE(test->m_bPasvFail);
    EXPECT_FALSE(test->m_bPortFail);
    config.use_inet6 = 1;
    config.ctrl_conn_timeout = config.data_conn_timeout = 0;  // no limit
    EXPECT_EQ("6 666666 100000", run(good, "get pasv"));
    EXPECT_EQ("6 666666 1048576", run(good, "put port"));
    EXPECT_NE(std::string::npos, heard.find("EPRT |2|::1|"));
    EXPECT_GT(port, 1023);  // one that was free
}

TEST_F(FtpRun, A226ThatOvertakesTheData) {
    const Script late = with("RETR", {"150 a\r\n", file, "late", "226 b\r\n"});
    run(late, "get pasv");
    EXPECT_NE(std::string::npos, trace.find("data close(226) already received!\n"));
    EXPECT_EQ("5 666664 0", run(with("SIZE", {"550 no\r\n"}, late), "get pasv"));
    // The size is also looked at after a pass without data.
    const Script empty = with("SIZE", {"213 0\r\n"});
    EXPECT_EQ("6 666666 0",
              run(with("RETR", {"150 a\r\n", "", "late", "226 b\r\n"}, empty), "get pasv"));
    EXPECT_EQ("5 666665 0", run(with("RETR", {"150 a\r\n", "", "closes"}, empty), "get pasv"));
}

TEST_F(FtpRun, Uploads) {
    run(good, "put pasv");
    EXPECT_EQ(login + "PASV\r\nALLO 1000000\r\nSTOR /f\r\nQUIT\r\n", heard);
    EXPECT_EQ(1048576, received);
    EXPECT_TRUE(test->m_bPutDone);
    EXPECT_EQ(0, test->stopTest());
    EXPECT_EQ(-1, test->applyTestSetting(&config, sizeof(config)));
    for (const Row& c : table(R"(
        -1                   | 4294967295
        -9223372036854775808 | 2147483648
        5000000000           | 5000000000)")) {
        SCOPED_TRACE(c[0]);
        config.put_size = ka_text_to_int64(c[0].c_str());
        EXPECT_EQ("5 666500 0", run(with("ALLO", {"550 full\r\n"}), "put pasv"));
        EXPECT_LT(heard.find("ALLO " + c[1] + "\r\n"), heard.size());
        EXPECT_LT(trace.find("is " + c[1] + "\nthe ctrl_retcode is 550\n"), trace.size());
    }
    for (const int64_t one_chunk : {0, 524288}) {
        config.put_size = one_chunk;
        EXPECT_EQ("6 666666 524288", run(good, "put port"));
    }
    // A queue that takes nothing at first is asked again.
    fillFirst = true;
    config.put_size = 0;
    EXPECT_EQ("6 666666 524288",
              run(with("STOR", {"150 go\r\n", "<pause 300>", "drains", "226 b\r\n"}), "put pasv"));
    EXPECT_EQ(received, test->filled + 524288);
    fillFirst = false;
    // Behind a download on the same connection, too, nothing but zeros is sent.
    config.put_size = 1;
    EXPECT_EQ("6 666666 100000", run(with("STOR", {"150 go\r\n", file, "drains", "226 b\r\n"},
                                          with("RETR", {"150 a\r\n"})),
                                     "get put pasv"));
    EXPECT_EQ(524288, zeros);
    // Into a peer that stops reading: the part handed over counts.
    config.put_size = config.buff_size = 1 << 24;
    EXPECT_EQ("5 666665",
              run(with("STOR", {"150 go\r\n", "", "ignores"}), "put pasv").substr(0, 8));
    EXPECT_NE(0, test->m_iDataSendSize);
    EXPECT_LT(ka_tv_span_msecs(test->m_tvTranStart, test->m_tvTranEnd), 8000);
}

TEST_F(FtpRun, UploadsAreTimedUntilTheyHaveArrived) {
    ASSERT_EQ(0, shell("tc qdisc add dev lo root tbf rate 100mbit burst 100kb limit 100mb"));
    config.put_size = 5000000;  // some 0.4 s; the send queue alone would take most of it at once
    EXPECT_EQ("6 666666 5242880", run(good, "put pasv"));  // whole chunks
    EXPECT_EQ(5242880, received);
    EXPECT_GE(ka_tv_span_msecs(test->m_tvTranStart, test->m_tvTranEnd), 380);
    EXPECT_LT(test->m_iAvgSpeed, 13500000);
    EXPECT_GT(test->m_iAvgSpeed, 1000000);
}

TEST_F(FtpRun, HostileControlConnections) {
    config.data_timeout = 1500000;
    const std::clock_t before = std::clock();
    EXPECT_EQ("5 666665 5",
              run(with("RETR", {"150 a\r\n", "ddddd", "leaves holding"}), "get pasv"));
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 2);  // it does not spin
    std::string endless = "530-" + std::string(996, 'x') + "\r\n";
    while (endless.size() < (3 << 20))
        endless += endless;
    EXPECT_EQ("5 665000 0", run(with("USER", {endless}), "get pasv"));
    EXPECT_LT(test->m_iCtrlRecvSize, 1100000);
    ka_copy_text(config.file_path, std::string(505, 'x'));  // a line that does not fit is not sent
    EXPECT_EQ("5 666540 0", run(good, "get pasv"));
    EXPECT_EQ(login + "PASV\r\nQUIT\r\n", heard);
    ka_copy_text(config.file_path, std::string(504, 'x'));
    config.resp_timeout = 9000000;  // but after the transfer no answer is waited for that long
    const timeval start = ka_now();
    EXPECT_EQ("6 666666 1048576",
              run(with("STOR", {"125 go\r\n", "", "drains"}, with("QUIT", {})), "put pasv"));
    EXPECT_LT(ka_tv_span_msecs(start, ka_now()), 5000);
}
