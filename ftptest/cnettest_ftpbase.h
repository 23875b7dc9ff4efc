// CNetTest_FtpBase, the FTP throughput test: one object runs one download or upload against one
// server (RFC 959), measures it, and keeps the result record "/tmp/ftpgetrst" or "/tmp/ftpputrst"
// up to date.
#pragma once

#include <netinet/in.h>
#include <sys/time.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "measure/failurereason.h"
#include "measure/record.h"
#include "measure/transferstat.h"
#include "netbase/cnettest.h"
#include "netbase/port/sockaddr.h"

/// The text of a reply's first read.
using FtpReply = std::array<char, 1024>;

/// Bytes of a data receive or send when the settings name none.
constexpr int ftp_default_buff_size = 524288;

/// Settings of the FTP test. Whoever creates the test fills them before startTest.
struct SFtpBaseConfig {
    int use_inet6;          ///< 0: IPv4, else IPv6
    int do_get;             ///< not 0: download
    int do_put;             ///< not 0: upload
    int use_pasv;           ///< not 0: negotiate a passive data connection
    int use_port;           ///< not 0: negotiate an active one, after a refused passive one if both
    char host_name[64];     ///< server, name or dotted address
    int ctrl_port;          ///< its control port
    char username[64];      ///< argument of USER
    char password[64];      ///< argument of PASS
    char file_path[512];    ///< argument of SIZE, RETR and STOR
    int64_t put_size;       ///< bytes to upload
    int ctrl_conn_timeout;  ///< limit of the control connect, microseconds; 0 or less: no limit
    int data_conn_timeout;  ///< limit of the passive data connect; the same
    int resp_timeout;       ///< wait for a control reply, microseconds
    int data_timeout;       ///< wait for the data socket in each pass of a transfer, microseconds
    int buff_size;          ///< bytes of a data receive or send; 0 or less: 524288
};

/// The session record: what a run starts from.
struct SFtpSession : CTransferStat, CFailureReason {
    int64_t m_iGetFileSize = 0;        ///< size from the SIZE reply; negative: not known
    int64_t m_iPutFileSize = 0;        ///< bytes to upload
    in_addr m_in4CtrlAddr{};           ///< server
    in6_addr m_in6CtrlAddr{};          ///< server
    int m_iCtrlPort = 21;              ///< its control port
    in_addr m_in4DataAddr{};           ///< passive data endpoint
    in6_addr m_in6DataAddr{};          ///< passive data endpoint
    int m_iDataPort = 20;              ///< its port
    enet_step_type m_eStepPrepare{};   ///< name resolution
    enet_step_type m_eStepCtrlConn{};  ///< control connect and greeting
    enet_step_type m_eStepCtrlAuth{};  ///< login and data-mode negotiation
    enet_step_type m_eStepCtrlPut{};   ///< TYPE, SIZE or ALLO, and the transfer command
    enet_step_type m_eStepDataConn{};  ///< data connection
    enet_step_type m_eStepDataTran{};  ///< data transfer
    bool m_bDnsFail = false;           ///< name resolution failed
    bool m_bCtrlConnFail = false;      ///< the control connection could not be opened
    bool m_bGreetFail = false;         ///< the greeting was not 220
    bool m_bUserFail = false;          ///< USER was refused
    bool m_bPassFail = false;          ///< PASS was refused
    bool m_bPasvFail = false;          ///< the passive negotiation failed
    bool m_bPortFail = false;          ///< PORT was refused
    bool m_bPutCmdFail = false;        ///< ALLO or STOR was refused
    bool m_bRetrFail = false;          ///< RETR was refused
    bool m_bGet226Seen = false;        ///< a 226 reply arrived while the download ran
    bool m_bDataConnFail = false;      ///< the data connection could not be set up
    bool m_bRecvError = false;         ///< receiving data failed
    bool m_bTranDone = false;          ///< the download is finished
    bool m_bSendError = false;         ///< sending data failed
    bool m_bPutDone = false;           ///< the 226 reply after the upload arrived
    int64_t m_iCtrlSendSize = 0;       ///< bytes sent on the control connection
    int64_t m_iCtrlRecvSize = 0;       ///< bytes received on it
    timeval m_tvTestStart{};           ///< start of the test
    timeval m_tvDnsStart{};            ///< start of the name look-up, if one was made
    timeval m_tvDnsEnd{};              ///< its end
    timeval m_tvCtrlConnStart{};       ///< just before the control connect
    timeval m_tvCtrlConnEnd{};         ///< the 220 greeting arrived
    timeval m_tvLoginEnd{};            ///< the login was accepted
    timeval m_tvCtrlFail{};            ///< control connect, greeting or login failed
    timeval m_tvDataConnStart{};       ///< just before the data connect or accept
};

class CReceiver;
class CSender;

class CNetTest_FtpBase : public CNetTest, public SFtpSession {
  public:
    static int FTPTEST_DBGLEVEL;  ///< -1 at program start, 0 once an object was constructed

    SFtpBaseConfig m_stFtpBaseConfig;
    int m_sockeCtrl;    ///< control connection; -1: none, like the two below
    int m_sockeData;    ///< data connection
    int m_sockeListen;  ///< listening socket of active mode
    /// Passive and active negotiation; not part of the session, so no reset clears them.
    enet_step_type m_eStepPasv{};
    enet_step_type m_eStepPort{};

    /// Clears settings and session and runs the shell command "touch /tmp/ftprst".
    CNetTest_FtpBase(int port, unsigned int flags);
    CNetTest_FtpBase(const CNetTest_FtpBase&) = delete;
    CNetTest_FtpBase& operator=(const CNetTest_FtpBase&) = delete;

    // Virtual operations; their order is part of the interface.

    /// Closes the sockets.
    ~CNetTest_FtpBase() override;
    /// Runs the test to its end; always 0. The outcome is in the step fields and the record.
    int onMainLoop() override;
    /// Refused (-1): settings come through m_stFtpBaseConfig only.
    int applyTestSetting(const void* setting, int size) override;
    /// Completes the settings, resets the session, writes a first record and resolves the server;
    /// always 0. The outcome is m_eStepPrepare.
    int startTest() override;
    /// Does nothing and returns 0. A running test is ended through the exit flag.
    int stopTest() override;
    /// Writes the result record, final unless `bInProgress`; always 0. Without a direction there is
    /// none.
    virtual int reportFtpTestResult(bool bInProgress);
    /// True when the download's size is known: a 226 reply then does not end it.
    virtual bool isIgnore226_onDataRecv();
    /// Hooks that do nothing here and return 0: at the end of a session reset; when the transfer
    /// starts; after each speed sample, before the next one's start is set.
    virtual int onFtpResetEx();
    virtual int onTranExStart(const timeval* start);
    virtual int onTranExStat(bool first, const timeval* now);

    /// Puts the session record into its start state. Always 0.
    int resetFtpSession();
    /// One statistics call at `*now` (null or {0,0}: the clock): takes a speed sample unless no
    /// time has passed since the last call. Always 0.
    int ftpTranStat(const timeval* now);

    // Control channel.

    /// Opens m_sockeCtrl and connects it to the server; -1 and closed on failure.
    int connectFtpCtrl();
    /// Sends one command line with its argument, which may be null or empty. Fails, sending
    /// nothing, for a line of more than 511 characters.
    int sendFtpCtrl(const char* cmd, const char* arg);
    /// Reads one reply of one or more lines; each wait takes at most `usecs` (0 or less: a poll).
    /// `buf` holds the text of the first read as a string, whatever the result: that read's bytes,
    /// or -1 when the reply did not come, is malformed or does not end. Replies that come in the
    /// same read as the first are consumed with it.
    int recvFtpCtrl(int usecs, char* buf, int size);
    /// The reply code in the first three characters, or -1 when they are not digits.
    int readCtrlRetCode(char* reply);

    // Data channel.

    /// PASV exchange: stores the data endpoint. A failure fails m_eStepCtrlAuth.
    int onPassiveMode();
    /// Opens the listening socket and announces it by PORT (over IPv6: EPRT, RFC 2428). A refusal
    /// fails m_eStepCtrlAuth; every failure closes the socket.
    int onActiveMode();
    /// Connects m_sockeData to the passive endpoint; -1 and closed on failure.
    int connectFtpData();
    /// Takes the server's connection into m_sockeData, waiting at most 5 s. A failure closes the
    /// listening socket.
    int acceptFtpData();
    /// Waits at most `usecs` until the data socket takes bytes and sends once. Returns the bytes
    /// sent, perhaps less than `len`, or -1, with errno EAGAIN when it took none after all.
    int sendFtpData(int usecs, const char* buf, int len);
    /// Waits at most `usecs` for data, and for the control connection too when `pbCtrlReadable` is
    /// given, and reads data once. Returns the bytes read, 0 at the end of the data, or -1, a
    /// time-out included; `*pbError` is then 0 if only a signal or the control connection ended the
    /// wait. Both marks may be null.
    int recvFtpData(int usecs, char* buf, int len, int* pbCtrlReadable, int* pbError);

  protected:
    /// The result record as it stands, or as it ends unless `bInProgress`.
    SRecord currentRecord(bool bInProgress) const;

    // The phases of a run; each is 0 to go on and -1 to end the run.
    struct SRun;
    int resolveServer();
    int beginRun(SRun& run);
    int prepareTransfer(SRun& run);
    int openControl(SRun& run);
    int login(SRun& run);
    int chooseDataMode();
    int announceTransfer(SRun& run);
    int openPassiveData();
    int commandTransfer(SRun& run);
    int openActiveData();
    int transfer(SRun& run);
    int download(SRun& run);
    int upload(SRun& run);
    void closeTransfer(SRun& run);
    void endRun(SRun& run);

    // What the phases are made of.
    int failControl(enet_step_type& step, bool& cause);
    void setReplyReason(const char* command, const char* argument, const FtpReply& reply);
    int settle(enet_step_type& step, int result);
    int connectSocket(int& sock, const CSockAddr& server, int timeout);
    int listenForData();
    int announceListener();
    bool receivePart(SRun& run, CReceiver& receiver);
    /// One bounded wait and receive, as recvFtpData; the marks are clear, and may be null.
    int receiveData(CReceiver& receiver, int usecs, int* pbCtrlReadable, int* pbError);
    int sendFile(SRun& run, const CSender& sender);
    int sendPart(SRun& run, const CSender& sender);
    void awaitDelivery(SRun& run, const CSender& sender);
    void pollControl(SRun& run);
    void endOfData(const timeval& now);
    void passTransfer(const timeval& now);
    void sampleTransfer(const timeval& now);
    /// The settings' response time-out, at most one second.
    int briefTimeout() const;

    /// Sends a command (none when null), waits for its reply in `reply` and gives its code.
    int exchange(const char* cmd, const char* arg, int timeout, FtpReply& reply);
    /// Waits at most `usecs` for the control connection and reads once; -1 on failure.
    int readCtrl(int usecs, char* buf, size_t room);
    /// True when the control connection has ended or failed.
    bool isCtrlEnded() const;
};
