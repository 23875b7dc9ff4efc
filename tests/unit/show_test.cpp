// What net-test-show makes of a command line, a test and its record.
#include "app/driver.h"
#include "httptest/httprecord.h"
#include "netbase/support/textvalue.h"
#include "show/chart.h"
#include "show/description.h"
#include "show/json.h"
#include "show/notes.h"
#include "show/recordfile.h"
#include "show/request.h"
#include "tests/support/testbed.h"

namespace {

const SRecord running = {4, {6, 6, 6, 4}, 1, 12345, 67890123, 1250000, 0, 2500000, 987654};

}  // namespace

TEST(Show, RequestsAreTakenOrRefused) {
    for (const Row& c : table(R"(
        http                           |
        --run --seconds 10 -- -m 2     |
        --run -m 2                     | -m: arguments of net-test go behind --
        --seconds 1 http               | --traces, --chart, --seconds, --fail and -- go with --run
        --run --seconds 0 -- -m 2      | --seconds: "0" is no number of seconds
        --run --seconds 1k -- -m 2     | --seconds: "1k" is no number of seconds
        --run --seconds 3000000000 -- x | --seconds: "3000000000" is no number of seconds
        --run --chart                  | --chart: a value must follow
        --run get -- -m 2              | get: --run finds its record itself
        --run                          | the arguments of net-test are missing
        get put                        | put: one record is enough
        --json                         | which record?
        --frob                         | --frob: there is no such option)")) {
        Arguments given(c[0]);
        SRequest request;
        const std::string wrong = parse_request(given.count(), given.argv.data(), &request);
        EXPECT_EQ(c[1], wrong.substr(0, c[1].size())) << c[0];
        EXPECT_EQ(c[1].empty(), wrong.empty()) << wrong;
    }
}

TEST(Show, NotesSayWhatIsDoneInstead) {
    for (const Row& c : table(R"(
        http://h/                    |
        https://h:8443/              | https: fetched as plain HTTP, from port 8443
        ftp://h/                     | ftp: fetched as plain HTTP, from port 80
        http://h/<300 x>             | the URL was cut to 255 characters)")) {
        const Arguments given("-m 2 -dst " + c[0]);
        const auto notes = notes_on_arguments(given.count(), given.argv.data());
        EXPECT_EQ(c[1], notes.empty() ? "" : notes[0]);
    }
    EXPECT_EQ("a redirect without a host is not followed", notes_on_redirect("/c").at(0));
    EXPECT_EQ("redirect without a scheme: \"c.html\" is taken as its host",
              notes_on_redirect("c.html").at(0));
}

TEST(Show, ALineOfProgressFits) {
    for (const Row& c : table(R"(
        99 | 0 | download: 12.3 s, 67.9 MB, 10.0 Mbit/s, average 7.90 Mbit/s
        50 | 0 | download 12s 67.9MB 10.0M avg 7.90Mbit/s
        35 | 0 | 12s 67.9MB 10.0M avg 7.90Mbit/s
        30 | 0 | download: 10.0 Mbit/s
        15 | 0 | 10.0 Mbit/s
        5  | 0 | 10.0
        99 | 4 | download: 12.3 s, 67.9 MB, 10.0 Mbit/s, average 7.90 Mbit/s, nothing for 4 s
        20 | 4 | nothing for 4 s)")) {
        const size_t columns = std::stoul(c[0]);
        const std::string line = describe_progress(http_record, running, std::stoi(c[1]), columns);
        EXPECT_EQ(c[2], line.substr(0, line.find_last_not_of(' ') + 1));
        EXPECT_LE(line.size(), columns);
    }
}

TEST(Show, TheChartFollowsTheSamples) {
    const std::vector<SSample> samples = {{1000, 1, 100}, {2000, 1, 0}, {4000, 1, 50}};
    EXPECT_EQ("  speed over time          0 to 800 bit/s, in 4.0 s\n  ##__====\n",
              chart_row(samples, 10, false));
    EXPECT_EQ("  ██▁▁▅▅▅▅\n", chart_row(samples, 10, true).substr(52));
    EXPECT_EQ("", chart_row({}, 10, true));
    EXPECT_NE(std::string::npos, chart_picture(samples, "a<&b").find(">a&lt;&amp;b</text>"));
}

TEST(Show, VerdictsOfTestsThatAreOver) {
    STestReport report;
    SOutcome outcome(&http_record, running);
    EXPECT_EQ("running", std::string(outcome.verdictText()));
    outcome.isOver = true;
    outcome.report = &report;
    EXPECT_EQ("unfinished", std::string(outcome.verdictText()));
    ka_copy_text(report.facts.reason, "not enough memory");
    EXPECT_EQ("failed", std::string(outcome.verdictText()));
    outcome.ended = "ended after 1 s, as asked";
    EXPECT_EQ("ended", std::string(outcome.verdictText()));
    report.facts.httpStatus = 404;
    outcome.isRefused = true;
    EXPECT_EQ("failed", std::string(outcome.verdictText()));
    EXPECT_EQ("server answered 404 ", outcome.reason());
}

TEST(Show, JsonEscapesWhatIsForeign) {
    STestReport report;
    report.redirects = {"http://\"x\\\n\xFF\xC3\xA4"};
    SOutcome outcome(&http_record, running);
    outcome.isOver = true;
    outcome.report = &report;
    const std::string text = outcome_to_json(outcome);
    EXPECT_NE(std::string::npos, text.find("[\"http://\\u0022x\\u005c\\u000a\\u00ff\xC3\xA4\"]"))
        << text;
    EXPECT_NE(std::string::npos, text.find("\"verdict\": \"unfinished\", \"reason\": null"));
    EXPECT_NE(
        std::string::npos,
        outcome_to_json(SOutcome(&http_record, {})).find("\"overall_bytes_per_second\": null"));
}

TEST(Show, OnlyARecordThatWasWatchedIsAbandoned) {
    SReading reading;
    reading.record = running;
    reading.written.tv_sec = time(nullptr) - 700;  // or the clock was set forward
    CRecordWatch watch;
    EXPECT_TRUE(reading.isOld());
    EXPECT_FALSE(watch.isAbandoned(reading, {1000, 0}));
    EXPECT_FALSE(watch.isAbandoned(reading, {1599, 0}));
    reading.written.tv_nsec = 1;
    EXPECT_FALSE(watch.isAbandoned(reading, {1601, 0}));
    EXPECT_TRUE(watch.isAbandoned(reading, {2201, 0}));
    reading.record.verdict = 6;
    EXPECT_FALSE(reading.isOld());
}
