// The traces on their way to readers of every kind, prompt, slow and none.
#include <fcntl.h>
#include <pty.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "app/tracebuffer.h"
#include "app/tracequeue.h"
#include "measure/timedspan.h"
#include "netbase/support/clock.h"
#include "netbase/support/trace.h"
#include "netbase/support/wait.h"
#include "tests/support/testbed.h"

namespace {

constexpr timeval brief = {0, 1000};
constexpr timeval patience = {10, 0};

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

/// Outputs; without /proc they can't be opened again.
const char* outputs = R"(
    pipe     | with /proc
    pipe     | without /proc
    socket   | with /proc
    terminal | with /proc
    terminal | without /proc)";

class Traces : public OwnHost {
  protected:
    void prepare() override {
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        ASSERT_EQ(0, pipe(sign));
    }

    /// Makes the two ends of an output: "pipe", "socket" or "terminal".
    static void open(const std::string& kind, int (&ends)[2]) {
        if (kind == "pipe") {
            ASSERT_EQ(0, pipe(ends));
        } else if (kind == "socket") {
            ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
        } else {
            termios raw{};
            ASSERT_EQ(0, openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr));
            tcgetattr(ends[1], &raw);
            cfmakeraw(&raw);
            tcsetattr(ends[1], TCSANOW, &raw);
        }
    }

    /// Does the work in a process whose traces go to `out`.
    pid_t start(int out, const std::string& proc, const std::function<void()>& work) {
        const pid_t pid = fork();
        if (pid != 0)
            return pid;
        dup2(out, STDOUT_FILENO);
        dup2(sign[1], STDIN_FILENO);
        for (int fd = STDERR_FILENO + 1; fd < 64; ++fd)
            close(fd);
        if (proc == "without /proc" &&
            (unshare(CLONE_NEWNS) != 0 || mount("none", "/proc", "tmpfs", 0, nullptr) != 0))
            _exit(9);
        {
            COutput output(STDOUT_FILENO);
            const CTraceQueue queue(output);
            work();
        }
        _exit(0);
    }

    static std::string readAll(int fd) {
        std::string text;
        char piece[4096];
        ssize_t n = 0;
        while (ka_read_wait(fd, &patience) == 1 && (n = read(fd, piece, sizeof(piece))) > 0)
            text.append(piece, static_cast<size_t>(n));
        return text;
    }

    /// How the process ended; nothing that it started may be left.
    static int end(pid_t pid) {
        int status = 0;
        waitpid(pid, &status, 0);
        for (int i = 0; i < 5000 && waitpid(-1, nullptr, WNOHANG) >= 0; ++i)
            ka_wait(nullptr, 0, &brief);
        EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
        return status;
    }

    int sign[2]{};  ///< a process writes to its descriptor 0 when its timed part is over
};

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

TEST_F(Traces, WaitForAReaderOnlyWhereNothingIsTimed) {
    for (const Row& c : table(outputs)) {
        SCOPED_TRACE(c[0] + ", " + c[1]);
        int ends[2];
        open(c[0], ends);
        const int flags = fcntl(ends[1], F_GETFL);
        std::string all;
        for (size_t i = 0; i < 4000; ++i)
            all += line(i);
        const pid_t pid = start(ends[1], c[1], [&] {
            const timeval begin = ka_now();
            {
                const CTimedSpan span(5);
                ka_trace("%s", all.c_str());
                ka_wait(nullptr, 0, &brief);
            }
            if (ka_tv_span_msecs(begin, ka_now()) > 2000)  // nobody reads meanwhile
                _exit(1);
            [[maybe_unused]] const ssize_t n = write(STDIN_FILENO, "", 1);
            ka_trace("%s", all.c_str());
        });
        char over = 1;
        EXPECT_EQ(1, ka_read_wait(sign[0], &patience));
        EXPECT_EQ(1, read(sign[0], &over, 1));
        EXPECT_EQ(flags, fcntl(ends[1], F_GETFL));
        close(ends[1]);
        const std::string text = readAll(ends[0]);
        EXPECT_EQ(0, end(pid));
        EXPECT_EQ(line(0), text.substr(0, 100));
        EXPECT_LT(text.find(" bytes of traces left out here]\n"), all.size());
        EXPECT_EQ(text.size() - all.size(), text.rfind(all));
        close(ends[0]);
    }
}

TEST_F(Traces, AreSeenSoonWhateverTheProgramDoes) {
    for (const char* proc : {"with /proc", "without /proc"}) {
        int ends[2];
        open("pipe", ends);
        const pid_t pid = start(ends[1], proc, [] {
            ka_trace("seen\n");
            for (int i = 0; i < 20000; ++i)  // no wait that lasts
                ka_wait(nullptr, 0, &brief);
        });
        EXPECT_EQ(1, ka_read_wait(ends[0], &patience));
        kill(pid, SIGKILL);
        EXPECT_NE(0, end(pid));  // and no child is left
        close(ends[0]);
        close(ends[1]);
    }
}

TEST_F(Traces, GoWhereTheProgramSendsThem) {
    char* text = nullptr;
    size_t size = 0;
    FILE* log = open_memstream(&text, &size);
    EXPECT_EQ("on", printed([&] {
                  ka_trace("o%s", "n");
                  ka_set_trace_stream(log);
                  ka_trace("log %d", 1);
                  ka_set_trace_stream(nullptr);
                  ka_trace("nowhere");
              }));
    fclose(log);
    EXPECT_STREQ("log 1", text);
    free(text);
}
