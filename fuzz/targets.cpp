// The fuzz targets, one a parser of foreign bytes; TARGET names the one that is built. What they
// are given lies in a heap block of its exact size.
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ftptest/cnettest_ftpbase.h"
#include "ftptest/ftprecord.h"
#include "ftptest/ftptext.h"
#include "httptest/cnettest_httpbase.h"
#include "httptest/httphead.h"
#include "httptest/httprecord.h"
#include "netbase/dns/dnscodec.h"
#include "netbase/link/arpframe.h"
#include "netbase/link/ndmessage.h"
#include "netbase/port/attrline.h"

namespace {

using Bytes = const uint8_t*;

void require(bool holds) {
    if (!holds)
        __builtin_trap();
}

const char* text(Bytes data) {
    return reinterpret_cast<const char*>(data);
}

[[maybe_unused]] void dns(Bytes data, size_t size) {
    hostent out;
    const int id = size > 1 ? data[0] << 8 | data[1] : 0;
    // The flags, which the parser does not look at, choose the family and whether a result is kept.
    const int family = size > 2 && data[2] % 2 == 0 ? AF_INET6 : AF_INET;
    const bool kept = size < 4 || data[3] % 8 != 7;
    if (kadns_parse_dnsres(family, data, static_cast<int>(size), id, kept ? &out : nullptr) != 0 ||
        !kept)
        return;
    require(out.h_addrtype == family && out.h_length == (family == AF_INET ? 4 : 16));
    for (char** alias = out.h_aliases; *alias != nullptr; ++alias)
        require(alias - out.h_aliases < 15 && std::strlen(*alias) < dns_name_size);
    for (char** addr = out.h_addr_list; *addr != nullptr; ++addr)
        require(addr - out.h_addr_list < 15 && kadns_addr_length(*addr) % 12 == 4);
}

/// A name in a message, its place in the first byte; and the query for a name, with a room of twice
/// the first byte.
[[maybe_unused]] void name(Bytes data, size_t size) {
    if (size == 0)
        return;
    std::vector<char> message(dns_message_max);
    std::copy_n(data, std::min(size, message.size()), message.begin());
    const int at = data[0] * 2;
    const auto decode = [&](int from, char(&dotted)[dns_name_size]) {
        return dnsname2hostname(reinterpret_cast<Bytes>(message.data()) + from, dotted,
                                message.data());
    };
    char dotted[dns_name_size];
    const int taken = decode(at, dotted);
    require(taken == -1 || (taken > 0 && taken <= dns_message_max - at));
    require(strnlen(dotted, sizeof(dotted)) < sizeof(dotted));

    const std::string host(text(data) + 1, size - 1);
    const int length = kadns_fill_dnsquery(message.data(), at, host.c_str(), data[0], DNS_TYPE_A);
    require(length <= at);
    if (length > 0 && decode(12, dotted) > 0)
        require(strncasecmp(dotted, host.c_str(), std::strlen(dotted)) == 0);
}

[[maybe_unused]] void head(Bytes data, size_t size) {
    static CNetTest_HttpBase test(0, 0);
    const auto length = static_cast<int>(size);
    const char* tail = nullptr;
    if (httphd_find_tail(text(data), length, &tail) == 1)
        require(tail > text(data) + 3 && tail <= text(data) + size && tail[-1] == '\n');
    test.parseHttpHead(text(data), length);
}

[[maybe_unused]] void url(Bytes data, size_t size) {
    static CNetTest_HttpBase test(0, 0);
    test.resetHttpSession(std::string(text(data), size).c_str());
    test.parseHttpURL();
}

/// A reply as it is read, in pieces: the first byte tells their size.
[[maybe_unused]] void reply(Bytes data, size_t size) {
    static CNetTest_FtpBase test(0, 0);
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) == 0);
    for (size_t at = 1; at < size; at += data[0] + 1)
        send(ends[1], data + at, std::min<size_t>(size - at, data[0] + 1), MSG_DONTWAIT);
    close(ends[1]);
    test.m_sockeCtrl = ends[0];
    char buf[300];
    const int length = test.recvFtpCtrl(0, buf, sizeof(buf));
    require(length == -1 || (length >= 3 && test.readCtrlRetCode(buf) >= 0));
    require(strnlen(buf, sizeof(buf)) < sizeof(buf));
    close(ends[0]);
}

/// A record that is taken comes out of its own text again.
[[maybe_unused]] void record(Bytes data, size_t size) {
    for (const SRecordKind* kind : {&ftp_get_record, &http_record}) {
        SRecord read;
        std::string why;
        const bool taken = ka_parse_record({text(data), size}, *kind, &read, &why);
        require(taken == why.empty());
        if (!taken)
            continue;
        const CRecordText again = ka_format_record(*kind, read);
        require(ka_parse_record({again.data(), std::strlen(again.data()) + 1}, *kind, &read, &why));
        require(again == ka_format_record(*kind, read));
    }
}

[[maybe_unused]] void pasv(Bytes data, size_t size) {
    std::array<unsigned int, 6> numbers;
    ftp_parse_pasv(std::string(text(data), size).c_str(), &numbers);
}

[[maybe_unused]] void attr(Bytes data, size_t size) {
    std::string_view key;
    std::string_view value;
    if (ka_parse_attr_line({text(data), size}, &key, &value))
        require(!key.empty() && !value.empty() && key.size() < 128 && value.size() < 128);
}

[[maybe_unused]] void advert(Bytes data, size_t size) {
    EtherAddr hwaddr;
    ka_accept_nd_advert(data, size, in6_addr{}, &hwaddr);
}

[[maybe_unused]] void arp(Bytes data, size_t size) {
    EtherAddr hwaddr;
    ka_accept_arp_reply(data, size, in_addr{7}, &hwaddr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TARGET(data, size);
    return 0;
}
