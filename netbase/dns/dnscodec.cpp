#include "netbase/dns/dnscodec.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string_view>

#include "netbase/support/bigendian.h"

int KADNS_DBGPROTO = -1;

namespace {

// Header:  ID | flags | QDCOUNT | ANCOUNT | NSCOUNT | ARCOUNT, two bytes each
constexpr size_t header_size = 12;
constexpr size_t question_tail_size = 4;  // QTYPE, QCLASS
constexpr size_t record_tail_size = 10;   // TYPE, CLASS, TTL (4), RDLENGTH
constexpr size_t srv_head_size = 6;       // priority, weight, port
constexpr unsigned int flags_rd = 0x0100;
constexpr unsigned int class_in = 1;

constexpr size_t label_max = 63;
constexpr size_t encoded_name_max = 255;
constexpr size_t pointer_offset_max = 511;
constexpr int pointer_hops_max = 128;

constexpr size_t inet4_size = 4;
constexpr size_t inet6_size = 16;

// The result of the last parse; every host record handed out points in here.
char kanet_dns_host_name[dns_name_size];
char kanet_dns_alias_name[dns_list_max + 1][dns_name_size];
char* kanet_dns_alias_list[dns_list_max + 1];
// A caller that asked for IPv6 may take a listed IPv4 slot for 16 bytes: they are there to be read.
char kanet_dns_inet4_addr[dns_list_max + inet6_size / inet4_size][inet4_size];
char kanet_dns_inet6_addr[dns_list_max + 1][inet6_size];
char* kanet_dns_addr_list[dns_list_max + 1];

using DnsName = std::array<char, dns_name_size>;

/// Dotted text that is being written, bounded; what is not written stays NUL.
class CNameText {
  public:
    explicit CNameText(DnsName* text) : m_text(text->data()), m_room(text->size() - 1) {
        text->fill('\0');
    }

    bool append(const unsigned char* bytes, size_t count) {
        if (count > m_room)
            return false;
        std::memcpy(m_text, bytes, count);
        m_text += count;
        m_room -= count;
        return true;
    }

    bool appendDot() {
        const unsigned char dot = '.';
        return append(&dot, 1);
    }

  protected:
    char* m_text;
    size_t m_room;
};

/// A received message and a cursor in it that never leaves it.
class CMessageReader {
  public:
    CMessageReader(const unsigned char* msg, size_t length) : m_msg(msg), m_length(length) {}

    size_t left() const { return m_length - m_at; }
    const unsigned char* here() const { return m_msg + m_at; }

    /// 0 when there are no two bytes left.
    unsigned int get16() {
        const unsigned int value = left() >= 2 ? ka_get16(here()) : 0;
        skip(2);
        return value;
    }

    void skip(size_t count) { m_at += std::min(count, left()); }

    /// Reads the name at the cursor and steps over it; at least `tail` bytes must follow.
    bool name(DnsName* text, size_t tail = 0) {
        size_t encoded = 0;
        if (!decodeName(text, &encoded) || encoded + tail > left())
            return false;
        m_at += encoded;
        return true;
    }

    bool decodeName(DnsName* text, size_t* encoded) const;

  protected:
    const unsigned char* m_msg;
    size_t m_length;
    size_t m_at = 0;
};

/// Decodes the name at the cursor; `encoded` becomes the bytes it takes there. The limits on label
/// bytes, pointers and offsets hold for each stretch between two pointers. A stretch behind a
/// pointer that breaks them or leaves the message just ends the name; text that does not fit and
/// too many pointers fail the whole.
bool CMessageReader::decodeName(DnsName* text, size_t* encoded) const {
    CNameText out(text);
    size_t at = m_at;
    size_t consumed = 0;  // in this stretch
    bool written = false;
    *encoded = 0;  // until the first pointer or the end has settled it
    for (int hops = 0; at < m_length;) {
        const unsigned int head = m_msg[at];
        if ((head & 0xC0) == 0xC0) {
            if (consumed > encoded_name_max - 2)
                return *encoded != 0;
            if (m_length - at < 2)
                return *encoded != 0;
            const size_t offset = ka_get16(m_msg + at) & 0x3FFF;
            if (offset > pointer_offset_max)
                return *encoded != 0;
            if (*encoded == 0)
                *encoded = consumed + 2;
            if ((written && !out.appendDot()) || ++hops > pointer_hops_max)
                return false;
            at = offset;
            consumed = 0;
            written = false;
            continue;
        }
        if ((head & 0xC0) != 0)
            return *encoded != 0;
        ++at;
        ++consumed;
        if (head == 0) {
            if (*encoded == 0)
                *encoded = consumed;
            return true;
        }
        if (consumed + head > encoded_name_max)
            return *encoded != 0;
        // Behind a pointer, a label that the message's end cuts shows what has come of it.
        if (head > m_length - at && *encoded == 0)
            return false;
        const size_t received = std::min<size_t>(head, m_length - at);
        if ((written && !out.appendDot()) || !out.append(m_msg + at, received))
            return false;
        written = true;
        at += head;
        consumed += head;
    }
    return *encoded != 0;
}

/// Fills the static result from a response's records.
class CResultBuilder {
  public:
    CResultBuilder() { std::memset(kanet_dns_host_name, 0, sizeof(kanet_dns_host_name)); }

    bool readQuestion(CMessageReader* msg) {
        DnsName name;
        if (!msg->name(&name, question_tail_size))
            return false;
        msg->skip(question_tail_size);
        std::memcpy(kanet_dns_host_name, name.data(), name.size());
        return true;
    }

    bool readRecord(CMessageReader* msg) {
        DnsName owner;
        if (!msg->name(&owner, record_tail_size))
            return false;
        const unsigned int type = msg->get16();
        const unsigned int dns_class = msg->get16();
        msg->skip(4);  // TTL
        const size_t length = msg->get16();
        if (dns_class == class_in) {
            switch (type) {
                case DNS_TYPE_A:
                    return readAddress(msg, length, kanet_dns_inet4_addr[m_addrs], inet4_size);
                case DNS_TYPE_AAAA:
                    return readAddress(msg, length, kanet_dns_inet6_addr[m_addrs], inet6_size);
                case DNS_TYPE_CNAME:
                    return readCname(msg, length);
                case DNS_TYPE_SRV:
                    return readSrv(msg);
                default:
                    break;
            }
        }
        msg->skip(length);
        return true;
    }

    void finish(int family, hostent* out) {
        kanet_dns_alias_list[m_aliases] = nullptr;
        kanet_dns_addr_list[m_addrs] = nullptr;
        if (out == nullptr)
            return;
        out->h_name = kanet_dns_host_name;
        out->h_aliases = kanet_dns_alias_list;
        out->h_addrtype = family;
        out->h_length = static_cast<int>(family == AF_INET    ? inet4_size
                                         : family == AF_INET6 ? inet6_size
                                                              : 0);
        out->h_addr_list = kanet_dns_addr_list;
    }

  protected:
    bool readAddress(CMessageReader* msg, size_t length, char* slot, size_t size) {
        if (length > msg->left())
            return false;
        // The address is there whatever length the record gives its data.
        if (msg->left() >= size && m_addrs < dns_list_max) {
            std::memcpy(slot, msg->here(), size);
            kanet_dns_addr_list[m_addrs++] = slot;
        }
        msg->skip(length);
        return true;
    }

    bool readCname(CMessageReader* msg, size_t length) {
        CMessageReader target = *msg;
        if (length > msg->left() || !readAlias(&target))
            return false;
        msg->skip(length);
        return true;
    }

    bool readSrv(CMessageReader* msg) {
        if (msg->left() < srv_head_size)
            return false;
        msg->skip(srv_head_size);
        return readAlias(msg);
    }

    bool readAlias(CMessageReader* msg) {
        DnsName name;
        if (!msg->name(&name))
            return false;
        if (m_aliases < dns_list_max) {
            char* slot = kanet_dns_alias_name[m_aliases];
            std::memcpy(slot, name.data(), name.size());
            kanet_dns_alias_list[m_aliases++] = slot;
        }
        return true;
    }

    size_t m_aliases = 0;
    size_t m_addrs = 0;
};

}  // namespace

int hostname2dnsname(const char* host, char* out) {
    std::string_view rest(host);
    char* p = out;
    while (!rest.empty() && rest.front() != '.') {
        const std::string_view label = rest.substr(0, rest.find('.'));
        if (label.size() > label_max)
            return -1;
        *p++ = static_cast<char>(label.size());
        for (const char c : label)
            *p++ = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        rest.remove_prefix(std::min(label.size() + 1, rest.size()));
    }
    *p++ = '\0';
    return static_cast<int>(p - out);
}

int dnsname2hostname(const unsigned char* src, char* dst, const char* msg) {
    const auto* start = reinterpret_cast<const unsigned char*>(msg);
    CMessageReader reader(start, dns_message_max);
    reader.skip(static_cast<size_t>(src - start));
    DnsName text;
    size_t encoded = 0;
    const bool decoded = reader.decodeName(&text, &encoded);
    std::memcpy(dst, text.data(), text.size());
    return decoded ? static_cast<int>(encoded) : -1;
}

int kadns_fill_dnsquery(void* buf, int size, const char* host, int id, int qtype) {
    if (buf == nullptr || size < 1 || host == nullptr || *host == '\0' ||
        static_cast<size_t>(size) < header_size)
        return -1;
    auto* p = static_cast<unsigned char*>(buf);
    std::memset(p, 0, header_size);
    ka_put16(p, static_cast<unsigned int>(id));
    ka_put16(p + 2, flags_rd);
    ka_put16(p + 4, 1);  // QDCOUNT
    p += header_size;

    const std::unique_ptr<char[]> name(new (std::nothrow) char[std::strlen(host) + 8]());
    if (name == nullptr)
        return -1;
    const int encoded = hostname2dnsname(host, name.get());
    if (encoded < 1)
        return -1;
    const auto length = static_cast<size_t>(encoded);
    if (length + question_tail_size > static_cast<size_t>(size) - header_size)
        return -1;
    std::memcpy(p, name.get(), length);
    ka_put16(p + length, static_cast<unsigned int>(qtype));
    ka_put16(p + length + 2, class_in);
    return static_cast<int>(header_size + length + question_tail_size);
}

int kadns_parse_dnsres(int family, const unsigned char* msg, int len, int id, hostent* out) {
    if (out != nullptr)
        *out = {};
    CResultBuilder result;
    if (msg == nullptr || len < static_cast<int>(header_size))
        return -1;

    CMessageReader reader(msg, static_cast<size_t>(len));
    if (reader.get16() != (static_cast<unsigned int>(id) & 0xFFFF))
        return -1;
    reader.skip(2);  // flags
    const unsigned int questions = reader.get16();
    const unsigned int answers = reader.get16();
    reader.skip(4);  // NSCOUNT, ARCOUNT
    for (unsigned int i = 0; i < questions; ++i) {
        if (!result.readQuestion(&reader))
            return -1;
    }
    for (unsigned int i = 0; i < answers; ++i) {
        if (!result.readRecord(&reader))
            return -1;
    }
    result.finish(family, out);
    return 0;
}

size_t kadns_addr_length(const char* entry) {
    const char* begin = &kanet_dns_inet6_addr[0][0];
    const char* end = begin + sizeof(kanet_dns_inet6_addr);
    const std::less<const char*> before;
    return !before(entry, begin) && before(entry, end) ? inet6_size : inet4_size;
}
