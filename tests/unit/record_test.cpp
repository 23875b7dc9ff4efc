// The result record: its text, and its file.
#include <fcntl.h>
#include <sys/file.h>

#include <cstring>

#include "httptest/httprecord.h"
#include "tests/support/testbed.h"

namespace {

class RecordFile : public OwnHost {
  protected:
    static void write(const char* path) {
        CRecordFile(path).write(ka_format_record(http_record, {}));
    }
    const std::string zeros = ka_format_record(http_record, {}).data() + std::string(1, '\0');
};

bool isLocked(const char* path) {
    const CDescriptor other(open(path, O_RDONLY));
    return flock(other.get(), LOCK_EX | LOCK_NB) != 0;
}

}  // namespace

TEST(Record, IsReadAsItIsWritten) {
    const SRecord all = {4, {6, 6, 6, 4}, 1, 2, INT64_MAX, 3, 4, 5, 6};
    const CRecordText text = ka_format_record(http_record, all);
    for (const Row& c : table(R"(
        ,        | ,           |
        \0       |             | its closing NUL is missing
        ,avgspeed:6\0 |        | it ends before "avgspeed"
        d,       | d:          | "step_download," is not where it belongs
        contime  | cantime     | "contime:" is not where it belongs
        trtime:2 | trtime:-2   | "trtime" has no value that it may have
        connect:6 | connect:7  | "step_connect" has no value that it may have
        775807   | 775808      | "totdata" has no value that it may have)")) {
        std::string line(text.data(), strlen(text.data()) + 1);
        line.replace(line.find(c[0]), c[0].size(), c[1]);
        SRecord record;
        std::string why;
        EXPECT_EQ(c[2].empty(), ka_parse_record(line, http_record, &record, &why)) << line;
        EXPECT_EQ(c[2], why);
        EXPECT_TRUE(!why.empty() || text == ka_format_record(http_record, record));
    }
}

TEST_F(RecordFile, IsRewrittenUnderALock) {
    writeFile("/tmp/r", std::string(600, 'x'));
    CRecordFile file("/tmp/r");
    EXPECT_TRUE(isLocked("/tmp/r"));
    EXPECT_EQ("", readFile("/tmp/r"));
    writeFile("/tmp/r", std::string(600, 'x'));  // of a test that could not have the lock
    file.write(ka_format_record(http_record, {}));
    EXPECT_EQ(zeros, readFile("/tmp/r"));
    EXPECT_FALSE(isLocked("/tmp/r"));
    const CDescriptor other(open("/tmp/r", O_RDONLY));
    ASSERT_EQ(0, flock(other.get(), LOCK_EX));
    write("/tmp/r");  // it is not waited for
    EXPECT_EQ(zeros, readFile("/tmp/r"));
}

TEST_F(RecordFile, IsNoLink) {
    writeFile("/tmp/target", "precious");
    ASSERT_EQ(0, shell("ln -s target /tmp/link; ln -s missing /tmp/dangling"));
    for (const char* link : {"/tmp/link", "/tmp/dangling"}) {
        write(link);
        EXPECT_EQ(zeros, readFile(link));
    }
    EXPECT_EQ("precious", readFile("/tmp/target"));
    EXPECT_NE(0, shell("test -e /tmp/missing"));
}
