// URL and request.
#include <cstdio>

#include "httptest/cnettest_httpbase.h"
#include "httptest/requesttext.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

namespace {

static_assert(http_scheme_max == sizeof(SHttpSession::m_szProtoReq) - 1);
static_assert(http_request_size > sizeof(g_szHostReq) + sizeof(SHttpSession::m_szFileReq) +
                                      sizeof(SHttpSession::m_szParmReq) +
                                      sizeof(SHttpSession::m_szHostReq) +
                                      sizeof(SHttpSession::m_szPortReq) + 128,
              "the longest request that the fields allow");

/// Stores a part of a URL; false when it is longer than its field.
template <size_t N>
bool store(std::string_view part, char (&field)[N]) {
    if (part.size() >= N)
        return false;
    ka_copy_text(field, part);
    return true;
}

}  // namespace

int CNetTest_HttpBase::parseHttpURL() {
    for (char* field : {m_szProtoReq, m_szHostReq, m_szPortReq, m_szFileReq, m_szParmReq})
        *field = '\0';
    const SHttpUrl url = http_split_url(m_szUrlReq);
    if (!store(url.scheme, m_szProtoReq) || !store(url.host, m_szHostReq) ||
        !store(url.port, m_szPortReq) || !store(url.path, m_szFileReq) ||
        !store(url.query, m_szParmReq))
        return -1;
    if (m_szProtoReq[0] == '\0')
        ka_copy_text(m_szProtoReq, "http");
    if (m_szFileReq[0] == '\0')
        ka_copy_text(m_szFileReq, "/");
    return m_szHostReq[0] != '\0' ? 0 : -1;
}

int CNetTest_HttpBase::sendHttpGet() {
    HttpRequest request;
    // A redirect to https is asked for by its whole URL, which carries its query itself.
    const size_t length =
        g_bhttps ? http_build_request(g_szHostReq, "", m_szHostReq, m_szPortReq, &request)
                 : http_build_request(m_szFileReq, m_szParmReq, m_szHostReq, m_szPortReq, &request);
    ka_trace("m_szFileReq is %s,m_szParmReq is %s\n", m_szFileReq, m_szParmReq);
    ka_trace("http request header is %s\n", request.data());
    return send(m_sockeHttp, request.data(), length, 0) == static_cast<ssize_t>(length) ? 0 : -1;
}
