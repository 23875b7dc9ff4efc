// The files of the port control directory.
#include "netbase/cnettest.h"
#include "tests/support/testbed.h"

namespace {

class PortFiles : public OwnHost {
  protected:
    /// The value, or "-" and what a failed read left of it.
    std::string attr(const char* file, const char* key) {
        char value[128];
        return port.readSysCtrlAttr(file, key, value) == 0 ? value : std::string("-") + value;
    }
    std::string conf(const char* file) {
        char value[128];
        return port.readSysCtrlConf(file, value) == 0 ? value : std::string("-") + value;
    }
    CNetTest port{0, 0};
    const std::string dir = port.m_szSysCtrlDir;
};

}  // namespace

TEST_F(PortFiles, AttributesAreFoundBehindBlankLinesOnly) {
    writePortFile("a", "\r\n \t\no='1'\n" + std::string(300, ' ') + "\ntype='ether'\ntype='x'\n");
    EXPECT_EQ("ether", attr("a", "type"));
    EXPECT_EQ("-", attr("a", "typ"));
    EXPECT_EQ("-", attr("none", "type"));
    const std::string longest(127, 'v');  // what every buffer must hold
    EXPECT_EQ(0, port.writeSysCtrlAttr("a", "k", longest.c_str()));
    EXPECT_EQ(longest, attr("a", "k"));
    EXPECT_EQ(0, port.writeSysCtrlAttr("a", longest.c_str(), "x"));
    EXPECT_EQ("x", attr("a", longest.c_str()));
    writePortFile("dev-type", "# no comments\ntype='ether'\n");
    writePortFile("net-type", "type='inet4-dhcp'\n");
    EXPECT_EQ("m_szBindDevName is \n", printed([&] { EXPECT_EQ(0, port.init()); }));
    EXPECT_EQ(DEV_TYPE_UNKNOWN, port.m_eDevType);
    EXPECT_EQ(4, port.m_eNetProtoType);
    EXPECT_EQ("net-test\n", readFile("/proc/thread-self/comm"));
}

TEST_F(PortFiles, WritingReplacesTheContentOrLeavesIt) {
    ASSERT_EQ(0, port.writeSysCtrlAttr("a", "k", "old"));
    EXPECT_EQ(-1, port.writeSysCtrlAttr("a", "k", std::string(128, 'v').c_str()));
    EXPECT_EQ("k='old'\n", readFile(dir + "/a"));
    ASSERT_EQ(0, port.writeSysCtrlConf("c", std::string(126, 'v').c_str()));
    EXPECT_EQ(-1, port.writeSysCtrlConf("c", std::string(127, 'v').c_str()));
    EXPECT_EQ(std::string(126, 'v') + std::string("\n\0", 2), readFile(dir + "/c"));
    shell("cd " + dir + "; ln -s /dev/full full; ln -s /dev/zero zero; mkfifo fifo; mkdir d");
    EXPECT_EQ(-1, port.writeSysCtrlConf("full", "x"));
    EXPECT_EQ(-1, port.writeSysCtrlAttr("full", "k", "v"));
    EXPECT_EQ("-", attr("zero", "k"));
    EXPECT_EQ("-", attr("fifo", "k"));
    EXPECT_EQ("-", conf("d"));
    for (const Row& c : table(R"(
        10.0.0.1\r\n | 10.0.0.1
        a\nb\rc      | a
        a\0b         | a
        <400 x>      | <127 x>)")) {
        writePortFile("c", c[0]);
        EXPECT_EQ(c[1], conf("c"));
    }
}
