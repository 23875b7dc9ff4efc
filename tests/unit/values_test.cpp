// Attribute lines, value codecs, numbers from text, clock arithmetic.
#include <climits>

#include "measure/transferstat.h"
#include "netbase/cnetbase.h"
#include "netbase/port/attrline.h"
#include "netbase/support/textvalue.h"
#include "tests/support/testbed.h"

TEST(AttrLine, IsTakenApart) {
    for (const Row& c : table(R"(
        type='ether'\n               | type=ether
        \s type : \t'inet4-dhcp'\n   | type=inet4-dhcp
        _a1=b c\n                    | _a1=b
        a='b'c'\n                    | a=b
        a=b'c                        | a=b'c
        <127 k>='<127 v>'            | <127 k>=<127 v>
        <128 k>='v'                  |
        a='<128 v>'                  |
        a b=c\n                      |
        1a=b\n                       |
                                     |)")) {
        const std::vector<char> line(c[0].begin(), c[0].end());
        std::string_view key;
        std::string_view value;
        const bool ok = ka_parse_attr_line({line.data(), line.size()}, &key, &value);
        EXPECT_EQ(c[1], ok ? std::string(key) + "=" + std::string(value) : "") << c[0];
    }
}

TEST(ValueCodecs, HardwareAddressesAndNumbers) {
    char text[18];
    unsigned char mac[6] = {9, 9, 9, 9, 9, 9};
    CNetBase::readMAC6Addr("0a:1B:0x2c:1ff:-1:123456789", mac);
    CNetBase::writeMAC6Addr(mac, text);
    EXPECT_STREQ("0A:1B:2C:FF:FF:89", text);
    CNetBase::readMAC6Addr("a:b:c", mac);
    EXPECT_EQ(hex("0A0B0C000000"), std::string(mac, mac + 6));
    for (const Row& c : table(R"(
        \s\t-12x              | -12         | -12
        x                     | 0           | 0
        4294967296            | 2147483647  | 4294967296
        -99999999999999999999 | -2147483648 | -9223372036854775808)")) {
        int narrow = 1;
        CNetBase::readIntValue(c[0].c_str(), &narrow);
        EXPECT_EQ(std::stoi(c[1]), narrow);
        EXPECT_EQ(std::stoll(c[2]), ka_text_to_int64(c[0].c_str()));
    }
}

TEST(ValueCodecs, NamesAreReadAndWritten) {
    const auto check = [](auto value, auto read, auto write, const Row& names) {
        for (const std::string& name : names) {
            char text[64];
            read(name.c_str(), &value);
            write(value, text);
            EXPECT_EQ(name, text);
        }
    };
    check(DEV_TYPE_UNKNOWN, CNetBase::readDeviceType, CNetBase::writeDeviceType,
          {"ether", "unknown"});
    check(NET_PROTO_PPP_PPPOE, CNetBase::readNetprotoType, CNetBase::writeNetprotoType,
          {"ppp-dialup", "inet4-dhcp", "inet6-dhcp", "off"});
    check(NET_STEP_INIT, CNetBase::readStatusType, CNetBase::writeStatusType, {"pass", "unknown"});
    check(PPP_AUTH_PAP, CNetBase::readPPPAuthType, CNetBase::writePPPAuthType, {"chap", "unknown"});
    check(2, CNetBase::readBoolValue, CNetBase::writeBoolValue, {"true", "false"});
}

TEST(Clock, Arithmetic) {
    EXPECT_EQ(4000001, ka_tv_usecs({4, 1}));
    EXPECT_EQ(1200, ka_tv_msecs(ka_tv_diff({5, 100000}, {3, 900000})));
    EXPECT_EQ(2, ka_tv_add({1, 500000}, {0, 500000}).tv_sec);
    EXPECT_EQ(0, ka_tv_span_msecs({0, 0}, {5, 0}));
    EXPECT_EQ(5000000999, ka_tv_span_msecs({1, 0}, {5000001, 999999}));  // far beyond 35 minutes
    timeval tv{4000, 0};
    EXPECT_EQ(INT_MAX, CTransferStat::timeval2usecs(&tv));
    _usecs2timeval(-1, &tv);
    EXPECT_EQ(0, ka_tv_msecs(tv));
    EXPECT_TRUE(CDeadline({4, 0}, {1, 0}).timeLeft({5, 0}, &tv));
    EXPECT_FALSE(CDeadline({4, 0}, {1, 0}).timeLeft({5, 1}, &tv));
}
