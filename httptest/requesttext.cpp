#include "httptest/requesttext.h"

#include <algorithm>
#include <cstdio>

#include "netbase/support/textvalue.h"

namespace {

bool skip_char(std::string_view* rest, char c) {
    if (rest->empty() || rest->front() != c)
        return false;
    rest->remove_prefix(1);
    return true;
}

}  // namespace

SHttpUrl http_split_url(std::string_view url) {
    SHttpUrl parts;
    std::string_view rest = url;
    const size_t colon = url.find(':');
    if (colon <= http_scheme_max && url.substr(colon + 1, 2) == "//") {
        parts.scheme = url.substr(0, colon);
        rest.remove_prefix(colon + 3);
    }
    parts.host = ka_take_until(&rest, ":/?#");
    if (skip_char(&rest, ':'))
        parts.port = ka_take_until(&rest, "/?#");
    parts.path = ka_take_until(&rest, "?#");
    if (skip_char(&rest, '?'))
        parts.query = ka_take_until(&rest, "#");
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
