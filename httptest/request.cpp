// URL and request.
#include <algorithm>
#include <cstdio>

#include "httptest/cnettest_httpbase.h"
#include "httptest/httprequest.h"
#include "netbase/support/textvalue.h"

namespace {

constexpr size_t scheme_max = sizeof(SHttpSession::m_szProtoReq) - 1;

/// Takes what precedes the first of `ends` off `rest`.
std::string_view take_until(std::string_view* rest, const char* ends) {
    const std::string_view part = rest->substr(0, rest->find_first_of(ends));
    rest->remove_prefix(part.size());
    return part;
}

bool skip_char(std::string_view* rest, char c) {
    if (rest->empty() || rest->front() != c)
        return false;
    rest->remove_prefix(1);
    return true;
}

/// Stores a part of a URL; false when it is longer than its field.
template <size_t N>
bool store(std::string_view part, char (&field)[N]) {
    if (part.size() >= N)
        return false;
    ka_copy_text(field, part);
    return true;
}

}  // namespace

SHttpUrl http_split_url(std::string_view url) {
    SHttpUrl parts;
    std::string_view rest = url;
    const size_t colon = url.find(':');
    if (colon <= scheme_max && url.substr(colon + 1, 2) == "//") {
        parts.scheme = url.substr(0, colon);
        rest.remove_prefix(colon + 3);
    }
    parts.host = take_until(&rest, ":/?#");
    if (skip_char(&rest, ':'))
        parts.port = take_until(&rest, "/?#");
    parts.path = take_until(&rest, "?#");
    if (skip_char(&rest, '?'))
        parts.query = take_until(&rest, "#");
    return parts;
}

size_t http_build_request(const char* target, const char* query, const char* host, const char* port,
                          HttpRequest* request) {
    request->fill('\0');
    const int length =
        snprintf(request->data(), request->size(),
                 "GET %s%s%s HTTP/1.1\r\n"
                 "Host: %s%s%s\r\n"
                 "User-Agent: Wget\r\n"
                 "Connection: close\r\n"
                 "\r\n",
                 target, *query != '\0' ? "?" : "", query, host, *port != '\0' ? ":" : "", port);
    return std::min(static_cast<size_t>(length), request->size() - 1);
}

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
    printf("m_szFileReq is %s,m_szParmReq is %s\n", m_szFileReq, m_szParmReq);
    printf("http request header is %s\n", request.data());
    return send(m_sockeHttp, request.data(), length, 0) == static_cast<ssize_t>(length) ? 0 : -1;
}
