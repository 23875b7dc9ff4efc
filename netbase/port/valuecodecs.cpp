// Values of the port control files and their texts.
#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "netbase/cnetbase.h"
#include "netbase/support/textvalue.h"

namespace {

template <typename E>
struct STextOf {
    E value;
    const char* text;
};

constexpr STextOf<enet_step_type> step_texts[] = {
    {NET_STEP_INIT, "init"},
    {NET_STEP_INPROGRESS, "inprogress"},
    {NET_STEP_FAIL, "fail"},
    {NET_STEP_PASS, "pass"},
};

constexpr STextOf<ePPP_auth_type> ppp_auth_texts[] = {
    {PPP_AUTH_PAP, "pap"},
    {PPP_AUTH_CHAP, "chap"},
    {PPP_AUTH_CHAP_AND_PAP, "chap-and-pap"},
};

constexpr STextOf<enet_proto_type> net_proto_texts[] = {
    {NET_PROTO_PPP_PPPOE, "ppp-pppoe"},       {NET_PROTO_PPP_DIALUP, "ppp-dialup"},
    {NET_PROTO_INET4_STATIC, "inet4-static"}, {NET_PROTO_INET4_DHCP, "inet4-dhcp"},
    {NET_PROTO_INET6_STATIC, "inet6-static"}, {NET_PROTO_INET6_AUTO, "inet6-auto"},
    {NET_PROTO_INET6_DHCP, "inet6-dhcp"},
};

constexpr STextOf<edev_type_type> dev_type_texts[] = {
    {DEV_TYPE_ETHER, "ether"},
};

void put_text(const char* text, char* out) {
    if (out != nullptr)
        std::memcpy(out, text, std::strlen(text) + 1);
}

template <typename E, size_t N>
void write_enum(E value, const STextOf<E> (&texts)[N], const char* other, char* out) {
    const char* found = other;
    for (const auto& entry : texts) {
        if (entry.value == value)
            found = entry.text;
    }
    put_text(found, out);
}

template <typename E, size_t N>
void read_enum(const char* text, const STextOf<E> (&texts)[N], E* value) {
    if (value == nullptr)
        return;
    *value = static_cast<E>(0);
    for (const auto& entry : texts) {
        if (text != nullptr && std::strcmp(entry.text, text) == 0)
            *value = entry.value;
    }
}

}  // namespace

void CNetBase::writeINET4Addr(const in_addr* addr, char* text) {
    const in_addr any{};
    if (text != nullptr)
        inet_ntop(AF_INET, addr != nullptr ? addr : &any, text, INET_ADDRSTRLEN);
}

void CNetBase::readINET4Addr(const char* text, in_addr* addr) {
    if (addr != nullptr && (text == nullptr || inet_pton(AF_INET, text, addr) != 1))
        *addr = {};
}

void CNetBase::writeINET6Addr(const in6_addr* addr, char* text) {
    if (text != nullptr)
        inet_ntop(AF_INET6, addr != nullptr ? addr : &in6addr_any, text, INET6_ADDRSTRLEN);
}

void CNetBase::readINET6Addr(const char* text, in6_addr* addr) {
    if (addr != nullptr && (text == nullptr || inet_pton(AF_INET6, text, addr) != 1))
        *addr = {};
}

void CNetBase::writeMAC6Addr(const unsigned char* addr, char* text) {
    const unsigned char none[6] = {};
    const unsigned char* a = addr != nullptr ? addr : none;
    if (text != nullptr)
        snprintf(text, 18, "%.2X:%.2X:%.2X:%.2X:%.2X:%.2X", a[0], a[1], a[2], a[3], a[4], a[5]);
}

void CNetBase::readMAC6Addr(const char* text, unsigned char* addr) {
    if (addr == nullptr)
        return;
    std::memset(addr, 0, 6);
    for (int i = 0; text != nullptr && i < 6; ++i) {
        char* end = nullptr;
        const unsigned long long field = std::strtoull(text, &end, 16);
        if (end == text)
            break;
        addr[i] = static_cast<unsigned char>(field & 0xFF);
        text = *end == ':' ? end + 1 : nullptr;
    }
}

void CNetBase::writeIntValue(int value, char* text) {
    if (text != nullptr)
        snprintf(text, 12, "%d", value);
}

void CNetBase::readIntValue(const char* text, int* value) {
    if (value != nullptr)
        *value = text != nullptr ? ka_text_to_int(text) : 0;
}

void CNetBase::writeBoolValue(int value, char* text) {
    put_text(value != 0 ? "true" : "false", text);
}

void CNetBase::readBoolValue(const char* text, int* value) {
    if (value != nullptr)
        *value = text != nullptr && std::strcmp(text, "true") == 0 ? 1 : 0;
}

void CNetBase::writeStatusType(enet_step_type value, char* text) {
    write_enum(value, step_texts, "unknown", text);
}

void CNetBase::readStatusType(const char* text, enet_step_type* value) {
    read_enum(text, step_texts, value);
}

void CNetBase::writePPPAuthType(ePPP_auth_type value, char* text) {
    write_enum(value, ppp_auth_texts, "unknown", text);
}

void CNetBase::readPPPAuthType(const char* text, ePPP_auth_type* value) {
    read_enum(text, ppp_auth_texts, value);
}

void CNetBase::writeNetprotoType(enet_proto_type value, char* text) {
    write_enum(value, net_proto_texts, "off", text);
}

void CNetBase::readNetprotoType(const char* text, enet_proto_type* value) {
    read_enum(text, net_proto_texts, value);
}

void CNetBase::writeDeviceType(edev_type_type value, char* text) {
    write_enum(value, dev_type_texts, "unknown", text);
}

void CNetBase::readDeviceType(const char* text, edev_type_type* value) {
    read_enum(text, dev_type_texts, value);
}
