// The run of an HTTP test: prepare, connect, request and head, body, redirect.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "httptest/cnettest_httpbase.h"
#include "httptest/headtext.h"
#include "measure/netstep.h"
#include "measure/receiver.h"
#include "measure/timedspan.h"
#include "measure/transferbuffer.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

namespace {

constexpr int default_http_port = 80;
constexpr size_t buffer_min = 524288;
constexpr size_t buffer_max = size_t{16} << 20;
constexpr timeval body_wait = {2, 0};

bool is_moved(int code) {
    return code == 301 || code == 302;
}

}  // namespace

struct CNetTest_HttpBase::SRun {
    CTransferBuffer buffer;  ///< doubles while a head does not fit
    size_t fill = 0;         ///< bytes of the current response in the buffer
    CTailFinder finder;      ///< of the end of the current head
    timeval now{};           ///< latest clock reading: before a head receive, after a body receive
    CDeadline headDeadline{{}, {}};
    int code = -1;  ///< status code of the current response
};

int CNetTest_HttpBase::onMainLoop() {
    SRun run;
    if (beginRun(run) == 0) {
        while (runRequest(run) == 0 && followRedirect(run)) {
        }
    }
    reportHttpTestResult(false);
    return 0;
}

int CNetTest_HttpBase::beginRun(SRun& run) {
    g_bhttps = false;
    const size_t size =
        static_cast<size_t>(std::max(m_stHttpBaseConfig.buff_size, static_cast<int>(buffer_min)));
    ka_trace("buff_size is %zu\n", size);
    if (!run.buffer.allocate(size)) {
        setReason("not enough memory");
        return -1;
    }
    ka_trace("onMainLoop 1\n");
    resetHttpSession(m_stHttpBaseConfig.url);
    m_tvTestStart = ka_now();
    reportHttpTestResult(true);
    if (isExecExit())
        return -1;
    ka_trace("onMainLoop 2\n");
    return 0;
}

int CNetTest_HttpBase::runRequest(SRun& run) {
    run.fill = 0;
    run.finder = {};
    ka_close_socket(m_sockeHttp);
    if (prepareRequest() != 0 || exchangeHeads(run) != 0)
        return -1;
    takeHead(run);
    if (receiveBody(run) != 0)
        return -1;
    ka_step_pass(m_eStepDownload);
    ka_trace("onMainLoop 15\n");
    return 0;
}

int CNetTest_HttpBase::exchangeHeads(SRun& run) {
    ka_flush_traces();
    const CTimedSpan timed;
    return connectServer() == 0 && sendRequest(run) == 0 ? receiveHead(run) : -1;
}

int CNetTest_HttpBase::prepareRequest() {
    ka_step_start(m_eStepPrepare);
    if (parseHttpURL() != 0) {
        setReason("no host, or a part that is too long, in the URL %s", m_szUrlReq);
        return ka_step_fail(m_eStepPrepare);
    }
    if (isExecExit())
        return -1;
    if (resolveServer() != 0) {
        setLookupReason(m_szHostReq);
        return ka_step_fail(m_eStepPrepare, m_bDnsFail);
    }
    ka_trace("onMainLoop 4\n");
    m_iHttpPort = m_szPortReq[0] != '\0' ? ka_text_to_int(m_szPortReq) : default_http_port;
    ka_step_pass(m_eStepPrepare);
    return isExecExit() ? -1 : 0;
}

int CNetTest_HttpBase::connectServer() {
    ka_trace("onMainLoop 5\n");
    ka_step_start(m_eStepConnect);
    reportHttpTestResult(true);
    m_tvConnStart = ka_now();
    if (connectHttpServ() != 0)
        return ka_step_fail(m_eStepConnect, m_bConnFail);
    ka_trace("onMainLoop 6\n");
    m_tvConnEnd = ka_now();
    ka_step_pass(m_eStepConnect);
    return isExecExit() ? -1 : 0;
}

int CNetTest_HttpBase::sendRequest(SRun& run) {
    ka_step_start(m_eStepGetHead);
    reportHttpTestResult(true);
    m_tvReqStart = ka_now();
    if (sendHttpGet() != 0) {
        setReason("the request could not be sent: %s", std::strerror(errno));
        return ka_step_fail(m_eStepGetHead);
    }
    ka_trace("onMainLoop 7\n");
    run.headDeadline = CDeadline(m_stHttpBaseConfig.head_timeout);
    return 0;
}

int CNetTest_HttpBase::receiveHead(SRun& run) {
    const char* tail = nullptr;
    do {
        if (receiveHeadPart(run) != 0)
            return -1;
        ka_trace("onMainLoop 9\n");
        const bool found = run.finder.find(run.buffer.data(), run.fill, &tail);
        ka_trace("rev size is %zu,buff size is %zu\n", run.fill, run.buffer.size());
        if (found)
            break;
        if (run.fill < run.buffer.size()) {
            if (isExecExit())
                return -1;
        } else if (!run.buffer.grow(buffer_max)) {
            if (run.buffer.size() < buffer_max)
                setReason("not enough memory for the answer's head");
            else
                setReason("the answer's head is longer than %zu bytes", buffer_max);
            return -1;
        }
    } while (true);

    m_tvHeadEnd = ka_now();
    m_iHeadSize = tail - run.buffer.data();
    ka_step_pass(m_eStepGetHead);
    return 0;
}

int CNetTest_HttpBase::receiveHeadPart(SRun& run) {
    run.now = ka_now();
    timeval left;
    if (!run.headDeadline.timeLeft(run.now, &left)) {
        setAnswerReason(0, 0);
        return ka_step_fail(m_eStepGetHead);
    }
    ka_trace("onMainLoop 8\n");
    int closed = 0;
    int error = 0;
    const int received =
        recvHttpReply(&left, run.buffer.data() + run.fill,
                      static_cast<int>(run.buffer.size() - run.fill), &closed, &error);
    if (received == 0 || error != 0) {
        m_bPeerClosed = m_bPeerClosed || closed != 0;
        m_bRecvError = m_bRecvError || error != 0;
        setAnswerReason(closed, error);
        return ka_step_fail(m_eStepGetHead);
    }
    run.fill += received > 0 ? static_cast<size_t>(received) : 0;
    return 0;
}

void CNetTest_HttpBase::setAnswerReason(int closed, int error) {
    const double patience =
        1e-6 * static_cast<double>(ka_tv_usecs(m_stHttpBaseConfig.head_timeout));
    if (error != 0)
        setReason("no complete answer: %s", std::strerror(errno));
    else if (closed != 0)
        setReason("server closed before its answer was complete");
    else
        setReason("no complete answer within %g s", patience);
}

void CNetTest_HttpBase::takeHead(SRun& run) {
    run.code = parseHttpHead(run.buffer.data(), static_cast<int>(m_iHeadSize));
    m_iRespStatus = run.code;
    ka_trace("head parsed!(Content-Length=%s)\n", m_szContentLength);
    ka_trace("http_code is %d\n", run.code);
    ka_trace("response header is %.*s\n", static_cast<int>(run.fill), run.buffer.data());
    ka_flush_traces();  // it may be long, and during the body there is little time for it
    run.fill -= static_cast<size_t>(m_iHeadSize);
}

int CNetTest_HttpBase::receiveBody(SRun& run) {
    const CTimedSpan timed(transfer_trace_percent);
    startBody(run);
    CReceiver receiver(m_sockeHttp, run.buffer.data(),
                       static_cast<size_t>(m_stHttpBaseConfig.buff_size), CReceiver::EUse::count);
    do {
        ka_trace("in 1 m_iGetTransSize is %" PRId64 ",m_iDataRecvSize is %" PRId64 "\n",
                 m_iGetTransSize, m_iDataRecvSize);
        if (is_moved(run.code))
            m_iGetTransSize = m_iDataRecvSize + 1;  // one more receive shows whether a body comes
        if ((m_iGetTransSize < 0 || m_iDataRecvSize < m_iGetTransSize) &&
            receiveBodyPart(run, receiver) != 0)
            return -1;
        ka_trace("m_iGetTransSize is %" PRId64 ",m_iDataRecvSize is %" PRId64 "\n", m_iGetTransSize,
                 m_iDataRecvSize);
        if (m_iGetTransSize >= 0 && m_iDataRecvSize >= m_iGetTransSize)
            m_bTranDone = true;
        if (isExecExit())
            return -1;
        sampleBody(run);
    } while (!m_bTranDone);
    return 0;
}

void CNetTest_HttpBase::startBody(SRun& run) {
    ka_trace("onMainLoop 10\n");
    m_iGetTransSize = m_szContentLength[0] != '\0' ? ka_text_to_int64(m_szContentLength) : -1;
    ka_step_start(m_eStepDownload);
    m_iDataRecvSize = static_cast<int64_t>(run.fill);
    // The body's first bytes may have come with the head, so the clock runs from before that.
    startTransfer(run.now);
    m_tvTranEnd = m_tvTranStart;
    onTranExStart(&m_tvTranStart);
}

int CNetTest_HttpBase::receiveBodyPart(SRun& run, CReceiver& receiver) {
    int closed = 0;
    int error = 0;
    const int received = receive(receiver, body_wait, &closed, &error);
    if (error != 0)
        setReason("receiving failed after %" PRId64 " bytes: %s", m_iDataRecvSize,
                  std::strerror(errno));
    ka_trace("the recv_size is %d\n", received);
    run.now = ka_now();
    if (is_moved(run.code)) {
        if (received > 0)
            run.code = 200;  // the redirect has a body of its own: that is what is measured
        m_bTranDone = true;
    } else if (judgeBodyPart(closed != 0, error != 0) != 0) {
        return -1;
    }
    ka_trace("onMainLoop 13\n");
    m_tvTranEnd = run.now;
    if (received > 0)
        m_iDataRecvSize += received;
    receiver.follow(received, run.now,
                    m_iGetTransSize < 0 ? -1 : m_iGetTransSize - m_iDataRecvSize);
    return 0;
}

int CNetTest_HttpBase::judgeBodyPart(bool closed, bool error) {
    if (closed && m_iGetTransSize >= 0) {
        setReason("server closed after %" PRId64 " of %" PRId64 " bytes", m_iDataRecvSize,
                  m_iGetTransSize);
        return ka_step_fail(m_eStepDownload, m_bPeerClosed);
    }
    if (closed)
        m_bTranDone = true;  // the close is the end of a body of unknown size
    ka_trace("onMainLoop 11\n");
    if (error)
        return ka_step_fail(m_eStepDownload, m_bRecvError);
    ka_trace("onMainLoop 12\n");
    return 0;
}

void CNetTest_HttpBase::sampleBody(const SRun& run) {
    if (m_bTranDone) {
        httpTranStat(&run.now);
    } else if (isSampleDue(run.now)) {
        httpTranStat(&run.now);
        reportHttpTestResult(true);
    }
}

bool CNetTest_HttpBase::followRedirect(const SRun& run) {
    if (std::strstr(m_szLocation, "https") != nullptr)
        g_bhttps = true;
    if (run.code < 300 || run.code > 399 || m_szLocation[0] == '\0') {
        ka_trace("onMainLoop 16\n");
        return false;
    }
    ka_copy_text(g_szHostReq, m_szLocation);
    const timeval test_start = m_tvTestStart;
    resetHttpSession(g_szHostReq);
    m_tvTestStart = test_start;
    return true;
}
