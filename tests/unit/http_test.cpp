// URLs, requests and response heads.
#include "httptest/cnettest_httpbase.h"
#include "tests/support/testbed.h"

class Http : public OwnHost {};

TEST_F(Http, SplitsUrls) {
    CNetTest_HttpBase test(0, 0);
    for (const Row& c : table(R"(
        http://192.0.2.7:8080/a/b.bin?x=1&y=2#top | http,192.0.2.7,8080,/a/b.bin,x=1&y=2
        192.0.2.7               | http,192.0.2.7,,/,
        http://h#f?x            | http,h,,/,
        h:/p?a?b#c              | http,h,,/p,a?b
        ://h/p                  | http,h,,/p,
        http://[2001:db8::1]/   | http,[2001,db8::1],/,
        <63 s>://h              | <63 s>,h,,/,
        <64 s>://h              | http,<64 s>,,//h,
        <255 h>:<63 1>          | http,<255 h>,<63 1>,/,
        <256 h>                 | failed
        h:<64 1>                | failed
        h/<254 p>               | http,h,,/<254 p>,
        h/<255 p>               | failed
        h?<505 q>               | http,h,,/,<505 q>
        /relative               | failed)")) {
        test.resetHttpSession(c[0].c_str());
        const std::string parts = std::string(test.m_szUrlReq) == c[0] && test.parseHttpURL() == 0
                                      ? std::string(test.m_szProtoReq) + "," + test.m_szHostReq +
                                            "," + test.m_szPortReq + "," + test.m_szFileReq + "," +
                                            test.m_szParmReq
                                      : "failed";
        EXPECT_EQ(c[1], parts) << c[0];
    }
}

TEST_F(Http, ParsesHeads) {
    CNetTest_HttpBase test(0, 0);
    for (const Row& c : table(R"(
        HTTP/1.1 302 Found\r\nlocation:  http://a/new\r\nContent-Length: 0\r\n\r\n | 302,Found,0,http://a/new
        HTTP/1.1 200  OK\r\nCONTENT-LENGTH:42\r\n          | 200, OK,42,
        HTTP/1.1 200 OK\nContent-Length : 42\n             | 200,OK,:,
        HTTP/1.1 200 OK\r\nLocation: http://a/b c\r\n      | 200,OK,,http://a/b
        HTTP/1.1 200\s\r\n                                 | -1,,,
        \r\n                                               | -1,,,
                                                           | 0,,,
        HTTP/1.1 abc x\r\nHTTP/1.1 404 Not Found\r\n       | 404,Not Found,,
        HTTP/1.1 99999999999 x\r\n                         | 2147483647,x,,
        HTTP/1.1 <40 0>200 x\r\n                           | 200,x,,
        HTTP/1.1 200 <256 r>\r\n                           | 200,,,
        HTTP/1.1 200 OK\r\nContent-Length: 7\r\nContent-Length: <64 9>\r\n | 200,OK,7,
        HTTP/1.1 200 OK\r\nContent-Length: 7\r\nContent-Length: <63 9>\r\n | 200,OK,<63 9>,
        HTTP/1.1 200 OK\r\nLocation: <511 l>\r\nLocation: <512 l>\r\n      | 200,OK,,<511 l>
        HTTP/1.1 200 OK\r\nContent-Lengths: 7\r\n : x\r\nLocation\r\nLocation:\r\n\r\n | 200,OK,,
        HTTP/1.1 200 OK\0\r\nContent-Length: 7\r\n         | 200,OK,,)")) {
        const std::vector<char> head(c[0].begin(), c[0].end());
        const std::string code =
            std::to_string(test.parseHttpHead(head.data(), static_cast<int>(head.size())));
        EXPECT_EQ(c[1], code + "," + test.m_szRespReason + "," + test.m_szContentLength + "," +
                            test.m_szLocation)
            << c[0];
    }
}
