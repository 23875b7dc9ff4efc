// Whole HTTP runs against a scripted server.
#include "httptest/cnettest_httpbase.h"

#include <csignal>

#include "netbase/support/textvalue.h"
#include "tests/support/testbed.h"

namespace {

/// Notes each report, with an "r" while the test runs. May end the test when its transfer starts,
/// and does when it is sent to ".../exit".
struct Probe : CNetTest_HttpBase {
    Probe() : CNetTest_HttpBase(0, 0) {}
    int onTranExStart(const timeval*) override {
        g_bNetAppExitFlag = raiseExit;
        return 0;
    }
    int onHttpResetEx(const char* url) override {
        g_bNetAppExitFlag = g_bNetAppExitFlag || std::string(url).find("/exit") < 99;
        return 0;
    }
    int reportHttpTestResult(bool running) override {
        CNetTest_HttpBase::reportHttpTestResult(running);
        reports += (running ? " r" : " ") + outcome(readFile("/tmp/httpdata")).substr(2);
        return 0;
    }
    bool raiseExit = false;
    std::string reports;
};

class HttpRun : public OwnHost {
  protected:
    /// Runs a test against a server that gives one response a connection ("PORT" in it is its port)
    /// and then "closes", "resets" or "holds" it; the outcome of the record, with c(losed) or
    /// e(rror).
    std::string run(const Row& responses, const std::string& end, bool cut = false) {
        Listener listener;
        requests.clear();
        port = std::to_string(listener.port());
        const auto server = std::async(std::launch::async, [&] {
            for (std::string response : responses) {
                for (size_t at; (at = response.find("PORT")) != std::string::npos;)
                    response.replace(at, 4, port);
                Connection c = listener.accept();
                requests += c.readUntil("\r\n\r\n");
                c.say(response, cut);
                if (end == "holds")
                    c.readUntil("never");
                if (end == "resets")
                    c.reset();
            }
        });
        test = std::make_unique<Probe>();
        test->m_stHttpBaseConfig = config;
        ka_copy_text(test->m_stHttpBaseConfig.url, "http://127.0.0.1:" + port + "/a?b");
        test->raiseExit = raiseExit;
        trace = printed([&] {
            EXPECT_EQ(0, test->startTest());
            EXPECT_EQ(0, test->onMainLoop());
        });
        reason = test->m_szReason;
        EXPECT_EQ(0, test->stopTest());
        EXPECT_EQ(-1, test->applyTestSetting(&config, sizeof(config)));
        return outcome(readFile("/tmp/httpdata")) + (test->m_bPeerClosed ? "c" : "") +
               (test->m_bRecvError ? "e" : "");
    }

    std::unique_ptr<Probe> test;
    std::string port;
    std::string requests;
    std::string trace;
    std::string reason;
    SHttpBaseConfig config{0, 1, 0, "", "", "", 2000000, {20, 0}, {}, 0};
    bool raiseExit = false;
};

const std::string ok = "HTTP/1.1 200 OK\r\n";
const std::string hello = ok + "Content-Length: 5\r\n\r\nhello";

}  // namespace

TEST_F(HttpRun, Outcomes) {
    std::signal(SIGALRM, [](int) {});
    // The row's name, what the server does at the end, the outcome, its reason, a mark ("whole": it
    // is not the same with responses in pieces, "soon": the client is to give up soon, "alarm": a
    // signal comes meanwhile), and the responses.
    for (const Row& c : table(R"(
        a body          | holds  | 6 6666 5  | |       | HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello
        head alone      | holds  | 6 6666 5  | |       | HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n<pause 100>hello
        a signal        | holds  | 6 6666 5  | | alarm | <pause 100>HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello
        empty body      | holds  | 6 6666 0  | |       | HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n
        no length       | closes | 6 6666 5  | |       | HTTP/1.1 200 OK\r\n\r\nhel<pause 100>lo
        more than said  | holds  | 6 6666 5  | | whole | HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nhello
        body cut        | closes | 5 6665 5c | server closed after 5 of 5000000000 bytes |       | HTTP/1.1 200 OK\r\nContent-Length: 5000000000\r\n\r\nhello
        body reset      | resets | 5 6665 5e | receiving failed after 5 bytes: Connection reset by peer |       | HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhello<pause 100>
        head cut        | closes | 5 6650 0c | server closed before its answer was complete |       | HTTP/1.1 200 OK\r\nContent-
        head reset      | resets | 5 6650 0e | no complete answer: Connection reset by peer |       | HTTP/1.1 200 OK\r\n<pause 100>
        no answer       | holds  | 5 6650 0  | no complete answer within 0.2 s | soon  |
        NUL in the head | holds  | 5 6650 0  | no complete answer within 0.2 s | soon  | HTTP/1.1 200 OK\r\na\0b\r\n\r\n
        404             | holds  | 6 6666 2  | |       | HTTP/1.1 404 No\r\nContent-Length: 2\r\n\r\nno
        no HTTP at all  | closes | 6 6666 3  | |       | nonsense\r\n\r\nabc
        301             | closes | 6 6666 2  | |       | HTTP/1.1 301 M\r\nLocation: http://127.0.0.1:PORT/c\r\n\r\n | HTTP/1.1 200 OK\r\n\r\nhi
        302 with body   | closes | 6 6666 2  | | whole | HTTP/1.1 302 M\r\nLocation: http://127.0.0.1:PORT/c\r\n\r\nbody | HTTP/1.1 200 OK\r\n\r\nhi
        its body later  | closes | 6 6666 4  | | whole | HTTP/1.1 302 M\r\nContent-Length: 0\r\nLocation: http://127.0.0.1:PORT/c\r\n\r\n<pause 100>body
        307 with body   | holds  | 6 6666 2  | |       | HTTP/1.1 307 M\r\nContent-Length: 4\r\nLocation: http://127.0.0.1:PORT/c\r\n\r\nbody | HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi
        200 Location    | closes | 6 6666 0  | |       | HTTP/1.1 200 OK\r\nLocation: http://x/\r\nContent-Length: 0\r\n\r\n
        no host         | closes | 5 5000 0  | no host, or a part that is too long, in the URL /c |       | HTTP/1.1 301 M\r\nLocation: /c\r\n\r\n
        unknown host    | closes | 5 5000 0  | no.such. does not resolve |  | HTTP/1.1 301 M\r\nLocation: http://no.such./\r\n\r\n
        ended meanwhile | closes | 5 4000 0  | |       | HTTP/1.1 301 M\r\nLocation: http://127.0.0.1:PORT/exit\r\n\r\n)")) {
        const Row responses(c.begin() + 5, c.end());
        config.head_timeout = c[4] == "soon" ? timeval{0, 200000} : timeval{20, 0};
        for (const bool cut : {false, true}) {
            if (cut && c[4] == "whole")
                continue;
            SCOPED_TRACE(c[0] + (cut ? ", in pieces" : ""));
            ualarm(c[4] == "alarm" ? 50000 : 0, 0);
            EXPECT_EQ(c[2], run(responses, c[1], cut));
            EXPECT_EQ(c[3], reason);
            g_bNetAppExitFlag = false;
        }
    }
}

TEST_F(HttpRun, RequestsAndTraces) {
    run({"<pause 100>HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:PORT/c\r\n\r\n",
         "HTTP/1.1 308 P\r\nLocation: https://127.0.0.1:PORT/x?y=1#z\r\nContent-Length: 0\r\n\r\n",
         hello},
        "closes");
    const auto rest = [&] {
        return " HTTP/1.1\r\nHost: 127.0.0.1:" + port +
               "\r\nUser-Agent: Wget\r\nConnection: close\r\n\r\n";
    };
    EXPECT_EQ("GET /a?b" + rest() + "GET /c" + rest() + "GET https://127.0.0.1:" + port +
                  "/x?y=1#z" + rest(),
              requests);
    EXPECT_GE(ka_tv_span_msecs(test->m_tvTestStart, test->m_tvConnStart), 100);  // the first's

    run({ok + "Content-Length: 5\r\n\r\n<pause 100>hello"}, "closes");
    EXPECT_EQ(
        "buff_size is 524288\nonMainLoop 1\nonMainLoop 2\nhost name is 127.0.0.1\nin resolvein4 1\n"
        "the reslve host name is 127.0.0.1\nin resolvein4 2\nonMainLoop 4\nonMainLoop 5\n"
        "onMainLoop 6\nm_szFileReq is /a,m_szParmReq is b\nhttp request header is GET /a?b" +
            rest() +
            "\nonMainLoop 7\nonMainLoop 8\nonMainLoop 9\nrev size is 38,buff size is 524288\n"
            "head parsed!(Content-Length=5)\nhttp_code is 200\nresponse header is " +
            ok +
            "Content-Length: 5\r\n\r\n\nonMainLoop 10\nin 1 m_iGetTransSize is 5,m_iDataRecvSize "
            "is "
            "0\nthe recv_size is 5\nonMainLoop 11\nonMainLoop 12\nonMainLoop 13\n"
            "m_iGetTransSize is 5,m_iDataRecvSize is 5\nonMainLoop 15\nonMainLoop 16\n",
        trace);
}

TEST_F(HttpRun, GrowsTheBufferForALongHeadUpToItsBound) {
    const std::string mega(1 << 20, 'x');
    EXPECT_EQ("6 6666 5", run({ok + "L: " + mega + "\r\nContent-Length: 5\r\n\r\nhello"}, "holds"));
    std::string endless = ok;
    while (endless.size() < (17 << 20))
        endless += mega;
    EXPECT_EQ("4 6640 0", run({endless}, "closes"));
}

TEST_F(HttpRun, SamplesEverySecond) {
    const std::string k10(10000, 'x');
    EXPECT_EQ(
        "6 6666 30000",
        run({ok + "<pause 100>\r\n" + k10 + "<pause 1300>" + k10 + "<pause 100>" + k10}, "closes"));
    EXPECT_EQ(" r0000 0 r6400 0 r6640 0 r6664 20000 6666 30000", test->reports);
    EXPECT_GE(ka_tv_span_msecs(test->m_tvTranStart, test->m_tvHeadEnd), 90);
    const std::string speeds = "curspeed:" + std::to_string(test->m_iCurSpeed) +
                               ",minspeed:" + std::to_string(test->m_iMinSpeed) +
                               ",maxspeed:" + std::to_string(test->m_iMaxSpeed) +
                               ",avgspeed:" + std::to_string(test->m_iAvgSpeed);
    EXPECT_LT(readFile("/tmp/httpdata").find(speeds), 512U) << speeds;
    EXPECT_NEAR(30000 / 1.4, static_cast<double>(test->m_iAvgSpeed), 6000);
}

TEST_F(HttpRun, RecordsOfFailures) {
    run({"HTTP/1.1 301 M\r\nLocation: http://127.0.0.1:1/\r\n\r\n"}, "closes");
    EXPECT_STREQ(
        "overall_step:5,step_prepare:6,step_connect:5,step_gethead:0,step_download,0,"
        "contime:0,trtime:0,totdata:0,curspeed:0,minspeed:0,maxspeed:0,avgspeed:0",
        readFile("/tmp/httpdata").c_str());
    EXPECT_EQ("connection refused by 127.0.0.1 port 1", reason);
    raiseExit = true;
    EXPECT_EQ("5 6664 5", run({ok + "\r\nhello"}, "holds"));
    EXPECT_EQ("5 0000 0", run({}, "holds"));  // it stays raised
    int error = 0;
    char buf[9];
    test->m_sockeHttp = 999;
    EXPECT_EQ(-1, test->recvHttpReply(&config.head_timeout, buf, sizeof(buf), nullptr, &error));
    EXPECT_EQ(1, error);
    shell("rm /tmp/httpdata; mkdir /tmp/httpdata");
    EXPECT_EQ("File error setup save!\n",
              printed([&] { test->CNetTest_HttpBase::reportHttpTestResult(false); }));
}
