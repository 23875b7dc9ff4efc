// The buffer of the traces, and where they go.
#include "app/tracebuffer.h"
#include "netbase/support/trace.h"
#include "tests/support/testbed.h"

namespace {

/// A line of 100 bytes with its number.
std::string line(size_t number) {
    std::string text = std::to_string(number);
    return text + std::string(99 - text.size(), '.') + "\n";
}

std::string taken(CTraceBuffer& buffer, size_t count) {
    std::string text;
    while (count > 0 && !buffer.front().empty()) {
        const std::string piece(buffer.front().substr(0, count));
        buffer.pop(piece.size());
        count -= piece.size();
        text += piece;
    }
    return text;
}

}  // namespace

TEST(TraceBuffer, LeavesOutTheOldestWholeLines) {
    // Bytes written before, lines left out in two goes (their bytes, of ten lines), what then
    // comes.
    const std::string all[] = {line(0), line(1), line(2), line(3), line(4)};
    const auto gap = [](int bytes) {
        return "[" + std::to_string(bytes) + " bytes of traces left out here]\n";
    };
    struct Case {
        size_t written, first, second;
        std::string rest;
    };
    for (const auto& [written, first, second, rest] :
         {Case{0, 0, 0, all[0] + all[1] + all[2] + all[3] + all[4]},
          {0, 1, 0, gap(100) + all[1] + all[2] + all[3] + all[4]},
          {0, 100, 101, gap(300) + all[3] + all[4]},
          {100, 200, 0, gap(200) + all[3] + all[4]},
          {101, 199, 100, all[1].substr(1) + gap(300)},
          {50, 1, 1, all[0].substr(50) + gap(200) + all[3] + all[4]},
          {450, 1, 0, "\n" + gap(50)},
          {0, 500, 0, gap(500)}}) {
        CTraceBuffer buffer;
        for (const std::string& text : all)
            buffer.push(text);
        taken(buffer, written);
        for (const size_t bytes : {first, second}) {
            if (bytes > 0)
                buffer.dropOldest(bytes);
        }
        EXPECT_EQ(rest, taken(buffer, 9999)) << written << " " << first << " " << second;
    }
}

TEST(TraceBuffer, GoesOnBehindAGap) {
    CTraceBuffer buffer;
    size_t pushed = 0;
    for (; buffer.room() >= 100; ++pushed)
        buffer.push(line(pushed));
    buffer.dropOldest(250);
    EXPECT_EQ("[300 by", taken(buffer, 7));  // a line that is begun now
    buffer.dropOldest(100);
    for (; buffer.room() >= 100; ++pushed)
        buffer.push(line(pushed));
    std::string want = "tes of traces left out here]\n[100 bytes of traces left out here]\n";
    for (size_t i = 4; i < pushed; ++i)
        want += line(i);
    EXPECT_EQ(want, taken(buffer, 999999));
}

TEST(Traces, GoWhereTheProgramSendsThem) {
    EXPECT_EQ("on standard output", printed([] {
                  ka_trace("on %s", "standard output");
                  ka_set_trace_stream(nullptr);
                  ka_trace("nowhere");
              }));
}
