// Reception, and what a response head tells.
#include <strings.h>

#include <cerrno>

#include "httptest/cnettest_httpbase.h"
#include "httptest/headtext.h"
#include "measure/receiver.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/wait.h"

namespace {

bool is_named(std::string_view name, std::string_view wanted) {
    return name.size() == wanted.size() &&
           strncasecmp(name.data(), wanted.data(), wanted.size()) == 0;
}

/// Stores a value; one that is too long leaves what was stored before.
template <size_t N>
void store_value(std::string_view value, char (&field)[N]) {
    if (value.data() != nullptr && value.size() < N)
        ka_copy_text(field, value);
}

struct SStatusLine {
    int code;
    std::string_view reason;
};

bool parse_status_line(std::string_view line, SStatusLine* status) {
    constexpr std::string_view version = "HTTP/";
    const std::string_view protocol = httphd_next_token(&line, " \t");
    const std::string_view code = httphd_next_token(&line, " \t");
    if (protocol.empty() || code.empty() || line.empty())
        return false;
    if (protocol.substr(0, version.size()) != version)
        return false;
    status->code = ka_text_to_int(code);
    status->reason = line;
    return true;
}

}  // namespace

int CNetTest_HttpBase::recvHttpReply(const timeval* timeout, char* buf, int len, int* closed,
                                     int* error) {
    for (int* flag : {closed, error}) {
        if (flag != nullptr)
            *flag = 0;
    }
    if (timeout == nullptr || buf == nullptr || len <= 0 || m_sockeHttp <= 0)
        return -1;
    CReceiver receiver(m_sockeHttp, buf, static_cast<size_t>(len), CReceiver::EUse::keep);
    return receive(receiver, *timeout, closed, error);
}

int CNetTest_HttpBase::receive(CReceiver& receiver, const timeval& timeout, int* closed,
                               int* error) {
    ssize_t received = -1;
    if (receiver.receive(timeout, &received, nullptr) == EWait::timeout)
        return 0;
    if (received == 0 && closed != nullptr)
        *closed = 1;
    if (received < 0 && errno != EINTR && errno != EAGAIN && error != nullptr)
        *error = 1;
    return static_cast<int>(received);
}

int CNetTest_HttpBase::parseHttpHead(const char* head, int len) {
    for (char* field : {m_szRespReason, m_szContentLength, m_szLocation})
        *field = '\0';
    int code = 0;
    while (len > 0 && *head != '\0') {
        const char* next = nullptr;
        const HttpLine line(httphd_get_line(head, len, nullptr, &next));
        len -= static_cast<int>(next - head);
        head = next;
        if (line == nullptr)
            continue;
        std::string_view rest(line.get());
        if (code == 0) {
            SStatusLine status;
            if (!parse_status_line(rest, &status))
                return -1;
            code = status.code;
            store_value(status.reason, m_szRespReason);
            continue;
        }
        const std::string_view name = httphd_next_token(&rest, ": \t");
        if (is_named(name, "Content-Length"))
            store_value(httphd_next_token(&rest, " \t"), m_szContentLength);
        else if (is_named(name, "Location"))
            store_value(httphd_next_token(&rest, " \t"), m_szLocation);
    }
    return code;
}
