// CNetTest_HttpBase, the HTTP download test: one object fetches one URL with a single GET,
// following redirects, measures it, and keeps the result record "/tmp/httpdata" up to date.
#pragma once

#include <netinet/in.h>
#include <sys/time.h>

#include <cstdint>

#include "measure/failurereason.h"
#include "measure/record.h"
#include "measure/transferstat.h"
#include "netbase/cnettest.h"

/// True once a redirect of the run named "https": the request target is then g_szHostReq.
extern bool g_bhttps;
/// The whole Location value of the last redirect followed.
extern char g_szHostReq[512];

/// Settings of the HTTP test. Whoever creates the test fills them before startTest.
struct SHttpBaseConfig {
    int use_inet6;         ///< 0: IPv4, else IPv6
    int do_get;            ///< not 0: the statistics count received bytes
    int do_put;            ///< not 0: the statistics count sent bytes, of which there are none
    char url[256];         ///< the URL to fetch
    char username[64];     ///< not used: the test sends no credentials
    char password[64];     ///< not used
    int conn_timeout;      ///< limit of the TCP connect, microseconds; 0 or less: no limit
    timeval head_timeout;  ///< limit from the request to the end of the head; {0,0}: {60,0}
    timeval data_timeout;  ///< not used
    int buff_size;         ///< bytes of a receive; startTest sets 524288
};

/// The session record: what a request starts from, all zero.
struct SHttpSession : CTransferStat, CFailureReason {
    char m_szUrlReq[512] = "";         ///< URL of the request
    char m_szProtoReq[64] = "";        ///< its scheme; "http" when it has none
    char m_szHostReq[256] = "";        ///< its host
    char m_szPortReq[64] = "";         ///< its port, as written
    char m_szFileReq[256] = "";        ///< its path; "/" when it has none
    char m_szParmReq[512] = "";        ///< its query, without the "?"
    in_addr m_in4HttpAddr{};           ///< resolved address of the server
    in6_addr m_in6HttpAddr{};          ///< resolved address of the server
    int m_iHttpPort = 0;               ///< port of the server
    bool m_bDnsFail = false;           ///< the name did not resolve
    bool m_bConnFail = false;          ///< the connection could not be set up
    bool m_bPeerClosed = false;        ///< the server closed too early
    bool m_bRecvError = false;         ///< a receive failed
    bool m_bTranDone = false;          ///< the body is complete
    enet_step_type m_eStepPrepare{};   ///< URL and name resolution
    enet_step_type m_eStepConnect{};   ///< TCP connect
    enet_step_type m_eStepGetHead{};   ///< request and response head
    enet_step_type m_eStepDownload{};  ///< body
    int64_t m_iGetTransSize = 0;       ///< expected body bytes; negative: not known
    int m_iRespStatus = 0;             ///< status code; -1: malformed, 0: there was none
    char m_szRespReason[256] = "";     ///< reason phrase of the status line
    char m_szContentLength[64] = "";   ///< Content-Length value
    char m_szLocation[512] = "";       ///< Location value
    int64_t m_iHeadSize = 0;           ///< bytes of the head with its empty line
    timeval m_tvTestStart{};           ///< start of the run, kept across redirects
    timeval m_tvDnsStart{};            ///< start of the name look-up, if one was made
    timeval m_tvDnsEnd{};              ///< its end
    timeval m_tvConnStart{};           ///< just before the TCP connect
    timeval m_tvConnEnd{};             ///< the TCP connect succeeded
    timeval m_tvReqStart{};            ///< just before the request is sent
    timeval m_tvHeadEnd{};             ///< the response head is complete
};

class CReceiver;

class CNetTest_HttpBase : public CNetTest, public SHttpSession {
  public:
    static int HTTPTEST_DBGLEVEL;  ///< -1 at program start, 0 once an object was constructed

    SHttpBaseConfig m_stHttpBaseConfig;
    int m_sockeHttp;  ///< connection to the server; -1: none

    /// Clears settings and session and runs the shell command "touch /tmp/httpdata".
    CNetTest_HttpBase(int port, unsigned int flags);
    CNetTest_HttpBase(const CNetTest_HttpBase&) = delete;
    CNetTest_HttpBase& operator=(const CNetTest_HttpBase&) = delete;

    // Virtual operations; their order is part of the interface.

    /// Closes the connection.
    ~CNetTest_HttpBase() override;
    /// Runs the test to its end; always 0. The outcome is in the step fields and the record.
    int onMainLoop() override;
    /// Refused (-1): settings come through m_stHttpBaseConfig only.
    int applyTestSetting(const void* setting, int size) override;
    /// Completes the settings; always 0.
    int startTest() override;
    /// Closes the connection; always 0. A running test is ended through the exit flag.
    int stopTest() override;
    /// Writes the result record, final unless `interim`; always 0.
    virtual int reportHttpTestResult(bool interim);
    /// Hooks that do nothing here and return 0: at the end of a session reset, with its argument;
    /// when a body transfer starts; after each speed sample, before the next one's start is set.
    virtual int onHttpResetEx(const char* url);
    virtual int onTranExStart(const timeval* start);
    virtual int onTranExStat(bool first, const timeval* now);

    /// Clears the session record and stores `url` in it unless that is null. Always 0.
    int resetHttpSession(const char* url);
    /// One statistics call at `*now` (null or {0,0}: the clock): takes a speed sample unless no
    /// time has passed since the last call. Always 0.
    int httpTranStat(const timeval* now);

    /// Splits m_szUrlReq into its parts, undecoded and without the fragment. Fails for an empty
    /// host and for a part that is too long; the parts before it are stored then.
    int parseHttpURL();
    /// Sends the GET request on m_sockeHttp. Fails unless one send took all of it.
    int sendHttpGet();

    /// Waits at most `timeout` for the connection to become readable and reads once. Returns the
    /// bytes read; 0 when none came in time, or with `*closed` 1 when the server closed; -1 for bad
    /// arguments, or with `*error` 1 when wait or read failed (an interrupted one sets no flag).
    /// `closed` and `error` may be null.
    int recvHttpReply(const timeval* timeout, char* buf, int len, int* closed, int* error);
    /// Takes status code, reason, Content-Length and Location out of a complete head of `len`
    /// bytes. Returns the status code, 0 when there is no status line, -1 when it is malformed.
    int parseHttpHead(const char* head, int len);

    /// Opens m_sockeHttp and connects it to the resolved address; -1 and closed on failure.
    int connectHttpServ();

  protected:
    /// The result record as it stands.
    SRecord currentRecord() const;

    // The phases of a run; each is 0 to go on and -1 to end the run.
    struct SRun;
    int beginRun(SRun& run);
    int runRequest(SRun& run);
    int prepareRequest();
    int exchangeHeads(SRun& run);
    int resolveServer();
    int connectServer();
    int sendRequest(SRun& run);
    int receiveHead(SRun& run);
    int receiveHeadPart(SRun& run);
    void setAnswerReason(int closed, int error);
    void takeHead(SRun& run);
    int receiveBody(SRun& run);
    void startBody(SRun& run);
    int receiveBodyPart(SRun& run, CReceiver& receiver);
    /// One bounded wait and receive, as recvHttpReply; the flags are clear, and may be null.
    static int receive(CReceiver& receiver, const timeval& timeout, int* closed, int* error);
    int judgeBodyPart(bool closed, bool error);
    void sampleBody(const SRun& run);
    bool followRedirect(const SRun& run);
};
