// The fuzz targets, one a parser of foreign bytes; TARGET names the one that is built. What they
// are given lies in a heap block of its exact size.
#include <cstring>
#include <string>

#include "ftptest/ftptext.h"
#include "httptest/cnettest_httpbase.h"
#include "httptest/httphead.h"
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
    if (kadns_parse_dnsres(2, data, static_cast<int>(size), id, &out) != 0)
        return;
    for (char** alias = out.h_aliases; *alias != nullptr; ++alias)
        require(alias - out.h_aliases < 15 && std::strlen(*alias) < dns_name_size);
    for (char** addr = out.h_addr_list; *addr != nullptr; ++addr)
        require(addr - out.h_addr_list < 15 && kadns_addr_length(*addr) % 12 == 4);
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

/// A reply in pieces: the first byte tells their size.
[[maybe_unused]] void reply(Bytes data, size_t size) {
    CReplyScanner scanner;
    std::string left;
    for (size_t at = 1; at < size; at += data[0] % 16 + 1) {
        left.append(text(data) + at, std::min<size_t>(size - at, data[0] % 16 + 1));
        size_t rest = 0;
        if (scanner.scan(left.data(), left.size(), &rest) != EReply::unfinished)
            return;
        left.erase(0, rest);
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
