// The fuzz targets, one a parser of foreign bytes; TARGET names the one that is built. What they
// are given lies in a heap block of its exact size.
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "app/driver.h"
#include "app/tracebuffer.h"
#include "ftptest/cnettest_ftpbase.h"
#include "ftptest/ftptext.h"
#include "httptest/cnettest_httpbase.h"
#include "httptest/headtext.h"
#include "httptest/httprecord.h"
#include "measure/receiver.h"
#include "netbase/dns/dnscodec.h"
#include "netbase/link/arpframe.h"
#include "netbase/link/ndmessage.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/textvalue.h"
#include "show/description.h"

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

/// A name in a message, at twice the first byte; and the query for a name, with that much room.
[[maybe_unused]] void name(Bytes data, size_t size) {
    char message[dns_message_max] = "";
    char dotted[dns_name_size];
    const int at = size > 0 ? data[0] * 2 : 0;
    std::copy_n(data, std::min(size, sizeof(message)), message);
    const int taken = dnsname2hostname(reinterpret_cast<Bytes>(message) + at, dotted, message);
    require(taken == -1 || (taken > 0 && taken <= dns_message_max - at));
    const std::string host(text(data), size);
    const int length = kadns_fill_dnsquery(message, at, host.c_str(), at, DNS_TYPE_A);
    require(length <= at);
    if (length > 0 && dnsname2hostname(reinterpret_cast<Bytes>(message) + 12, dotted, message) > 0)
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
    close(ends[0]);
}

/// A record that is taken is taken again from its own text, and is shown at every width.
[[maybe_unused]] void record(Bytes data, size_t size) {
    SRecord read;
    std::string why;
    if (!ka_parse_record({text(data), size}, http_record, &read, &why))
        return;
    const CRecordText again = ka_format_record(http_record, read);
    const std::string bytes(again.data(), std::strlen(again.data()) + 1);
    require(ka_parse_record(bytes, http_record, &read, &why));
    require(again == ka_format_record(http_record, read));
    for (size_t columns = 0; columns < 100; ++columns)
        require(describe_progress(http_record, read, data[0], columns).size() <= columns);
}

[[maybe_unused]] void pasv(Bytes data, size_t size) {
    std::array<unsigned int, 6> numbers;
    ftp_parse_pasv(std::string(text(data), size).c_str(), &numbers);
}

[[maybe_unused]] void advert(Bytes data, size_t size) {
    EtherAddr hwaddr;
    ka_accept_nd_advert(data, size, in6_addr{}, &hwaddr);
}

[[maybe_unused]] void arp(Bytes data, size_t size) {
    EtherAddr hwaddr;
    ka_accept_arp_reply(data, size, in_addr{7}, &hwaddr);
}

/// The attribute and conf files of a port.
[[maybe_unused]] void port(Bytes data, size_t size) {
    static CNetBase object(0, 0);
    ka_copy_text(object.m_szSysCtrlDir, "/tmp");
    const CStream file(object.openSysCtrlFile("f", 1));
    require(file != nullptr && fwrite(data, 1, size, file.get()) == size &&
            fflush(file.get()) == 0);
    char value[128];
    std::memset(value, 'x', sizeof(value));
    const bool is_found = object.readSysCtrlAttr("f", "k", value) == 0;
    require(std::memchr(value, '\0', sizeof(value)) != nullptr && (*value != '\0') == is_found);
    std::memset(value, 'x', sizeof(value));
    require(object.readSysCtrlConf("f", value) == 0);
    require(std::strcspn(value, "\r\n") == std::strlen(value) &&
            std::strlen(value) < sizeof(value));
}

/// Arguments, a line each. What follows "-pw" is overwritten where it lay, and kept in `argv`.
[[maybe_unused]] void options(Bytes data, size_t size) {
    std::string lay = "net-test\n" + std::string(text(data), size) + "\n";
    std::vector<char*> argv;
    for (char *at = lay.data(), *end; (end = std::strchr(at, '\n')) != nullptr; at = end + 1) {
        *end = '\0';
        argv.push_back(at);
    }
    const std::vector<std::string> before(argv.begin(), argv.end());
    const std::vector<char*> places = argv;
    const auto count = static_cast<int>(argv.size());
    SFtpBaseConfig ftp;
    SHttpBaseConfig http;
    set_test_defaults(&ftp, &http);
    const bool is_http = read_options(count, argv.data(), &ftp, &http);
    hide_passwords(count, argv.data());
    SFtpBaseConfig again;
    set_test_defaults(&again, &http);
    require(is_http == read_options(count, argv.data(), &again, &http));
    require(std::memcmp(&ftp, &again, sizeof(ftp)) == 0);
    for (size_t i = 0; i < argv.size(); ++i) {
        require(before[i] == argv[i]);
        if (argv[i] == places[i])
            continue;
        require(std::strspn(places[i], "*") == before[i].size());
        std::free(argv[i]);
    }
}

/// The fuzzer's own alarm may interrupt it.
[[maybe_unused]] ssize_t receive_once(CReceiver& receiver) {
    ssize_t count = -1;
    do {
        const EWait waited = receiver.receive({5, 0}, &count, nullptr);
        require(waited == EWait::ready || waited == EWait::interrupted);
    } while (count < 0 && errno == EINTR);
    return count;
}

/// A peer that sends pieces, each of 256 times its byte, and time that passes with them.
[[maybe_unused]] void receiver(Bytes data, size_t size) {
    const CDescriptor server(socket(AF_INET, SOCK_STREAM, 0));
    const CDescriptor client(socket(AF_INET, SOCK_STREAM, 0));
    require(listen(server.get(), 1) == 0);
    const CSockAddr to = CSockAddr::localOf(server.get());
    require(connect(client.get(), to.get(), to.length()) == 0);
    const CDescriptor peer(accept(server.get(), nullptr, nullptr));
    static char buffer[524288];
    static const char much[65536] = "";
    CReceiver receiver(client.get(), buffer, sizeof(buffer), CReceiver::EUse::count);
    timeval now{9, 0};
    int64_t all = 0;
    for (size_t i = 0; i < size; ++i)
        all += 256 * data[i];
    int64_t sent = 0;
    int64_t received = 0;
    for (size_t i = 0; i < size; ++i) {
        sent += send(peer.get(), much, 256 * data[i], 0);
        now = ka_tv_add(now, {0, 1 + data[i] * 16});
        while (received < sent) {
            const ssize_t count = receive_once(receiver);
            require(count > 0);
            received += count;
            require(received <= sent);
            receiver.follow(count, now, all - received);
        }
    }
    shutdown(peer.get(), SHUT_WR);
    require(receive_once(receiver) == 0);
}

/// Lines pushed, written in part and left out, as the bytes say: what comes out is what went in,
/// but for whole lines, whose bytes the gaps tell.
[[maybe_unused]] void traces(Bytes data, size_t size) {
    static CTraceBuffer buffer;
    buffer = CTraceBuffer();
    std::string in;
    std::string out;
    const auto write = [&](size_t most) {
        const std::string piece(buffer.front().substr(0, most));
        buffer.pop(piece.size());
        out += piece;
    };
    for (size_t i = 0; i < size; ++i) {
        const std::string line = std::to_string(in.size()) + std::string(data[i] * 16, '.') + "\n";
        if (data[i] % 4 == 0)
            write(data[i] * 2);
        if (buffer.room() < line.size())
            buffer.dropOldest(line.size());
        buffer.push(line);
        in += line;
    }
    while (!buffer.front().empty())
        write(4096);
    size_t at = 0;
    for (size_t begin = 0, end; begin < out.size(); begin = end + 1) {
        end = out.find('\n', begin);
        require(end != std::string::npos);
        const bool is_gap = out[begin] == '[';
        const size_t length = is_gap ? std::stoul(out.substr(begin + 1)) : end + 1 - begin;
        require(is_gap ? in[at + length - 1] == '\n'
                       : in.compare(at, length, out, begin, length) == 0);
        at += length;
    }
    require(at == in.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TARGET(data, size);
    return 0;
}
