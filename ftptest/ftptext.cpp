#include "ftptest/ftptext.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "netbase/support/trace.h"

namespace {

constexpr size_t code_digits = 3;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_space(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

/// A blank in the pattern stands for any white space, none included; false where they differ.
bool match_literal(const char** text, std::string_view pattern) {
    for (const char c : pattern) {
        if (c == ' ') {
            while (is_space(**text))
                ++*text;
        } else if (*(*text)++ != c) {
            return false;
        }
    }
    return true;
}

bool match_number(const char** text, unsigned int* number) {
    char* end = nullptr;
    *number = static_cast<unsigned int>(std::strtoull(*text, &end, 10) & 0xFFFFFFFF);
    const bool found = end != *text;
    *text = end;
    return found;
}

}  // namespace

EReply CReplyScanner::scan(const char* text, size_t length, size_t* rest) {
    std::string_view left(text, length);
    do {
        *rest = length - left.size();
        if (left.size() < code_digits || !is_digit(left[0]) || !is_digit(left[1]) ||
            !is_digit(left[2]))
            return EReply::malformed;
        if (left.size() > code_digits && (left[code_digits] == ' ' || left[code_digits] == '\t'))
            m_final = true;
        const size_t end = left.find("\r\n");
        if (end == std::string_view::npos)
            return EReply::unfinished;
        left.remove_prefix(end + 2);
    } while (!left.empty());
    *rest = length;
    return m_final ? EReply::complete : EReply::unfinished;
}

const char* ftp_reply_text(const char* reply) {
    constexpr size_t text_at = code_digits + 1;
    return strnlen(reply, text_at) == text_at ? reply + text_at : "";
}

bool ftp_parse_pasv(const char* text, std::array<unsigned int, 6>* numbers) {
    if (!match_literal(&text, "Entering Passive Mode ("))
        return false;
    for (size_t i = 0; i < numbers->size(); ++i) {
        if ((i > 0 && !match_literal(&text, ",")) || !match_number(&text, &(*numbers)[i]))
            return false;
    }
    return true;
}

void ip_address_to_port_repr(in_addr addr, int port, char* buf, unsigned int size) {
    constexpr unsigned int longest = 23;
    if (size <= longest)
        return;
    std::array<unsigned char, sizeof(addr)> a{};
    std::memcpy(a.data(), &addr, sizeof(addr));
    snprintf(buf, size, "%d,%d,%d,%d,%d,%d", a[0], a[1], a[2], a[3], (port & 0xff00) >> 8,
             port & 0xff);
    buf[size - 1] = '\0';
    ka_trace("buf: %s\n", buf);
}

std::array<char, 64> ftp_eprt_argument(const in6_addr& addr, int port) {
    char host[INET6_ADDRSTRLEN] = "";
    inet_ntop(AF_INET6, &addr, host, sizeof(host));
    std::array<char, 64> text{};
    snprintf(text.data(), text.size(), "|2|%s|%d|", host, port);
    return text;
}
