// The DNS message codec.
#include <arpa/inet.h>

#include <cstring>

#include "netbase/dns/dnscodec.h"
#include "tests/support/testbed.h"

namespace {

std::string name(const std::string& dotted) {
    std::string encoded(dotted.size() + 2, '\0');
    encoded.resize(static_cast<size_t>(hostname2dnsname(dotted.c_str(), encoded.data())));
    return encoded;
}

std::string u16(int value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
}

std::string record(const std::string& owner, int type, const std::string& data, int length = -1) {
    return owner + u16(type) + u16(1) + u16(0) + u16(9) +
           u16(length < 0 ? static_cast<int>(data.size()) : length) + data;
}

/// A response to the query 0x1234 for "h.x", with the records behind the question at offset 12.
std::string response(const std::vector<std::string>& records, int questions = 1) {
    std::string msg = u16(0x1234) + u16(0x8183) + u16(questions) +
                      u16(static_cast<int>(records.size())) + u16(0) + u16(0);
    if (questions > 0)
        msg += name("h.x") + u16(28) + u16(1);
    for (const auto& r : records)
        msg += r;
    return msg;
}

std::string parsed(const std::string& msg, int id = 0x1234, int family = AF_INET) {
    const Bytes block = bytes(msg);
    hostent out;
    memset(&out, 0x55, sizeof(out));
    if (kadns_parse_dnsres(family, block.data(), static_cast<int>(block.size()), id, &out) != 0)
        return out.h_name == nullptr && out.h_addr_list == nullptr ? "refused" : "not zeroed";
    std::string text = out.h_name;
    for (char** alias = out.h_aliases; *alias != nullptr; ++alias)
        text += " " + std::string(*alias);
    for (char** addr = out.h_addr_list; *addr != nullptr; ++addr) {
        char shown[INET6_ADDRSTRLEN];
        const bool inet6 = kadns_addr_length(*addr) == 16;
        text +=
            std::string(" ") + inet_ntop(inet6 ? AF_INET6 : AF_INET, *addr, shown, sizeof(shown));
    }
    return text;
}

const std::string ask = u16(0xC00C);  // a pointer to the question's name
const std::string a4 = record(ask, 1, hex("0A000001"));
const std::string a6 = record(ask, 28, hex("20010db8 00000000 00000000 00000007"));

}  // namespace

TEST(DnsCodec, EncodesNamesAndQueries) {
    EXPECT_EQ(hex("05") + "alpha" + hex("04") + "beta" + hex("05") + "gamma" + hex("00"),
              name("Alpha.Beta.GAMMA"));
    EXPECT_EQ(hex("016100"), name("a..b"));
    EXPECT_EQ(hex("0161016200"), name("a.b."));
    EXPECT_EQ(hex("00"), name(".a"));
    std::vector<char> buf(512);
    ASSERT_EQ(19, kadns_fill_dnsquery(buf.data(), 512, "a", 0x12345, 28));
    EXPECT_EQ(hex("2345 0100 0001 0000 0000 0000 01 61 00 001C 0001"), std::string(buf.data(), 19));
    std::string longest;
    for (int i = 0; i < 7; ++i)
        longest += std::string(61, 'l') + ".";
    longest += std::string(60, 'l');
    EXPECT_EQ(512, kadns_fill_dnsquery(buf.data(), 512, longest.c_str(), 1, 1));
    for (const std::string& refused : {longest + "l", std::string(), std::string(64, 'l')})
        EXPECT_EQ(-1, kadns_fill_dnsquery(buf.data(), 512, refused.c_str(), 1, 1)) << refused;
    EXPECT_EQ(-1, kadns_fill_dnsquery(buf.data(), 18, "a", 1, 1));
    EXPECT_EQ(-1, hostname2dnsname(std::string(64, 'l').c_str(), buf.data()));
}

TEST(DnsCodec, ParsesResponses) {
    const std::string alias = record(ask, 5, hex("0461 6c69 61") + ask);
    const std::string srv = record(name("s"), 33, u16(1) + u16(2) + u16(3) + name("T.x"), 0);
    const std::string txt = record(ask, 16, "anything");
    EXPECT_EQ("h.x", parsed(response({})));
    EXPECT_EQ("refused", parsed(response({}), 0x1235));
    EXPECT_EQ("h.x 10.0.0.1 2001:db8::7 10.0.0.1", parsed(response({a4, txt, a6, a4})));
    EXPECT_EQ(" 10.0.0.1", parsed(response({record(name("h.x"), 1, hex("0A000001"))}, 0)));
    EXPECT_EQ("h.x alia.h.x 10.0.0.1", parsed(response({alias, a4})));
    EXPECT_EQ("h.x t.x t.x 10.0.0.1", parsed(response({srv, srv, a4})));  // RDLENGTH is not used
    EXPECT_EQ("h.x 97.98.99.192 10.0.0.1", parsed(response({record(ask, 1, "abc"), a4})));
    EXPECT_EQ("h.x", parsed(response({record(ask, 1, "abc")})));  // four bytes are not there
    EXPECT_EQ("h.x 10.0.0.1", parsed(response({a4, record(ask, 16, "t", 90)})));
    std::string other_class = a4;
    other_class[5] = 3;
    EXPECT_EQ("h.x", parsed(response({other_class})));
    std::string all = "h.x";
    for (int i = 0; i < 15; ++i)
        all += " 10.0.0.1";
    EXPECT_EQ(all, parsed(response(std::vector<std::string>(20, a4))));
}

TEST(DnsCodec, RefusesWhatLeavesTheMessage) {
    const std::string whole = response({record(ask, 5, name("q.y")), a4});
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_EQ("refused", parsed(whole.substr(0, length))) << length;
    EXPECT_EQ("refused", parsed(response({record(ask, 1, hex("0A000001"), 5)})));
    EXPECT_EQ("refused", parsed(response({record(ask, 5, name("q"), 4)})));
}

TEST(DnsCodec, DecodesNames) {
    const std::string tail = a4.substr(2);
    const auto label = [](char n) { return n + std::string(static_cast<size_t>(n), 'n'); };
    const std::string full = label(63) + label(63) + label(63);
    const std::pair<std::string, bool> cases[] = {
        // the first record's name starts at offset 21
        {hex("C00C"), true},
        {hex("C015"), false},       // to itself
        {hex("016E C015"), false},  // to its own start
        {hex("C200"), false},       // beyond any message
        {hex("C1FF"), true},        // beyond this one: it just ends
        {hex("80"), false},
        {full + label(62) + hex("00"), true},
        {full + label(63) + hex("00"), false},
        {full + label(58) + hex("C00C"), true},
        {full + label(60) + hex("C00C"), false},  // the text does not fit
    };
    for (const auto& [owner, ok] : cases)
        EXPECT_EQ(ok ? "h.x 10.0.0.1" : "refused", parsed(response({owner + tail})))
            << testing::PrintToString(owner);
    // Of a label that the end of the message cuts, what has come: the text's is at offset 49.
    for (const std::string part : {"", "a", "ab"})
        EXPECT_EQ("h.x n." + part, parsed(response({record(ask, 5, hex("016E C031")),
                                                    record(ask, 16, hex("05") + part)})));
    // A malformed stretch behind a pointer just ends the name.
    EXPECT_EQ("h.x ab. 10.0.0.1",
              parsed(response({record(ask, 5, hex("026162 C023") + hex("41")), a4})));
}
