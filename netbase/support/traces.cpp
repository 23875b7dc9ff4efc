#include "netbase/support/traces.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "netbase/support/clock.h"

namespace {

#ifdef NET_TEST_REPLACE_STDOUT

constexpr size_t stream_size = 16384;
constexpr size_t queue_size = 98304;

/// In a transfer, printing alone brings nothing out below this: so a response head, say, is not
/// written before the first receive behind it.
constexpr size_t transfer_low_mark = queue_size / 2;

/// Room that transfers leave for the lines behind them.
constexpr size_t transfer_reserve = 8192;

/// A longer line counts as several.
constexpr size_t line_max = 4096;

// How long a reader that takes nothing is waited for, and what waiting may cost in all: a transfer
// five per cent, its surroundings some minutes.
constexpr int64_t transfer_wait_msecs = 50;
constexpr int64_t transfer_share = 20;
constexpr int64_t calm_wait_msecs = 3000;
constexpr int64_t calm_total_msecs = 120000;

int64_t now_msecs() {
    return ka_tv_msecs(ka_now());
}

/// The queue between the printing program and the reader of its output.
class CTraceQueue {
  public:
    void open();
    void take(std::string_view text);
    void bringOut();
    void finish();
    void enterTransfer();
    void leaveTransfer() { m_inTransfer = false; }

  protected:
    size_t room() const { return m_text.size() - m_end + m_begin; }
    void takeLine(std::string_view line);
    bool reportLoss();
    bool makeRoom(size_t needed);
    bool waitForReader();
    int64_t patience() const;
    bool writeSome(size_t end);
    size_t wholeLines() const { return m_linesEnd > m_begin ? m_linesEnd : m_end; }
    void push(std::string_view text);

    std::array<char, queue_size> m_text;
    size_t m_begin = 0;
    size_t m_end = 0;
    size_t m_linesEnd = 0;     ///< behind the last whole line
    size_t m_lost = 0;         ///< bytes left out since the queue was full
    bool m_mayResume = true;   ///< a gap may end in what is being taken
    bool m_inLine = false;     ///< the last byte taken did not end a line
    bool m_isLineOut = false;  ///< a part of that line has been written
    bool m_isLineCut = false;  ///< a line was written in part and its rest left out
    int m_fd = STDOUT_FILENO;
    size_t m_atOnce = SIZE_MAX;  ///< bytes that a ready reader takes without holding up
    int64_t m_waitsInVain = 0;   ///< since the reader has last taken something
    bool m_inTransfer = false;
    int64_t m_transferStart = 0;
    int64_t m_transferWaits = 0;
    int64_t m_calmWaits = 0;
};

CTraceQueue queue;

/// Finds a way of writing that does not block: files never do for long, a terminal or pipe is
/// opened again with a mode of its own, and where that is refused a ready one takes a small piece.
void CTraceQueue::open() {
    struct stat status {};
    if (fstat(STDOUT_FILENO, &status) == 0 &&
        (S_ISREG(status.st_mode) || (S_ISCHR(status.st_mode) && isatty(STDOUT_FILENO) == 0)))
        return;
    const int own = ::open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (own >= 0)
        m_fd = own;
    else
        m_atOnce = PIPE_BUF;
}

void CTraceQueue::enterTransfer() {
    m_inTransfer = true;
    m_transferStart = now_msecs();
    m_transferWaits = 0;
}

void CTraceQueue::push(std::string_view text) {
    if (text.size() > m_text.size() - m_end) {
        std::memmove(m_text.data(), m_text.data() + m_begin, m_end - m_begin);
        m_linesEnd -= std::min(m_linesEnd, m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    m_end += text.copy(m_text.data() + m_end, text.size());
    if (text.back() == '\n') {
        m_linesEnd = m_end;
        m_isLineOut = false;
    }
}

void CTraceQueue::take(std::string_view text) {
    m_mayResume = true;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), line_max - 1);
        takeLine(text.substr(0, end + 1));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (!m_inTransfer || m_end - m_begin > transfer_low_mark)
        writeSome(m_linesEnd);
}

void CTraceQueue::takeLine(std::string_view line) {
    const bool goes_on = m_inLine;
    m_inLine = line.back() != '\n';
    if (m_lost > 0 && (goes_on || !m_mayResume || !reportLoss())) {
        m_lost += line.size();
    } else if (makeRoom(line.size())) {
        push(line);
    } else {
        // The beginning of the line goes too, unless it has been written.
        const size_t whole = std::max(m_linesEnd, m_begin);
        m_lost = m_end - whole + line.size();
        m_end = whole;
        m_isLineCut = goes_on && m_isLineOut;
        m_mayResume = false;
    }
}

bool CTraceQueue::reportLoss() {
    std::array<char, 80> text;
    const int length = snprintf(text.data(), text.size(), "%s[%zu bytes of traces left out here]\n",
                                m_isLineCut ? "\n" : "", m_lost);
    // In a transfer, more than a line or two shall come between two gaps.
    m_mayResume = makeRoom(m_inTransfer ? queue_size / 8 : text.size());
    if (!m_mayResume)
        return false;
    push({text.data(), static_cast<size_t>(length)});
    m_lost = 0;
    m_isLineCut = false;
    return true;
}

bool CTraceQueue::makeRoom(size_t needed) {
    if (m_inTransfer)
        needed += transfer_reserve;
    while (room() < needed) {
        if (!writeSome(wholeLines()) && !waitForReader())
            return false;
    }
    return true;
}

int64_t CTraceQueue::patience() const {
    if (!m_inTransfer)
        return std::min(calm_wait_msecs - m_waitsInVain, calm_total_msecs - m_calmWaits);
    const int64_t all = (now_msecs() - m_transferStart) / transfer_share;
    return std::min(transfer_wait_msecs - m_waitsInVain, all - m_transferWaits);
}

/// Waits until the reader takes something; false when it does not.
bool CTraceQueue::waitForReader() {
    const int64_t limit = patience();
    if (limit <= 0)
        return false;
    const int64_t start = now_msecs();
    pollfd output{m_fd, POLLOUT, 0};
    const bool ready = poll(&output, 1, static_cast<int>(limit)) > 0;
    const int64_t waited = now_msecs() - start;
    (m_inTransfer ? m_transferWaits : m_calmWaits) += waited;
    m_waitsInVain += waited;
    return ready && writeSome(wholeLines());
}

/// Writes what the reader takes at once of the text up to `end`; false when that is nothing.
bool CTraceQueue::writeSome(size_t end) {
    if (end <= m_begin)
        return false;
    const size_t size = end - m_begin;
    pollfd output{m_fd, POLLOUT, 0};
    if (m_atOnce < size && poll(&output, 1, 0) <= 0)
        return false;
    ssize_t written = write(m_fd, m_text.data() + m_begin, std::min(size, m_atOnce));
    if (written < 0 && errno != EAGAIN && errno != EINTR)
        written = static_cast<ssize_t>(size);  // nobody reads any more, or the disk is full
    if (written <= 0)
        return false;
    m_waitsInVain = 0;
    m_begin += static_cast<size_t>(written);
    m_isLineOut = m_begin > m_linesEnd;
    if (m_begin == m_end)
        m_begin = m_end = m_linesEnd = 0;
    return true;
}

void CTraceQueue::bringOut() {
    while (writeSome(m_end)) {
    }
}

void CTraceQueue::finish() {
    m_waitsInVain = 0;
    if (m_lost > 0)
        reportLoss();
    while (m_begin < m_end && (writeSome(m_end) || waitForReader())) {
    }
}

ssize_t write_traces(void*, const char* text, size_t size) {
    queue.take({text, size});
    return static_cast<ssize_t>(size);  // traces that are lost are no error of the stream
}

void install() {
    static std::array<char, stream_size> buffer;
    FILE* traces = fopencookie(nullptr, "w", {nullptr, write_traces, nullptr, nullptr});
    if (traces == nullptr)
        return;
    queue.open();
    setvbuf(traces, buffer.data(), _IOFBF, buffer.size());
    stdout = traces;
}

#else

struct {
    void bringOut() {}
    void finish() {}
    void enterTransfer() {}
    void leaveTransfer() {}
} queue;

void install() {
    static std::array<char, 65536> buffer;
    setvbuf(stdout, buffer.data(), _IOFBF, buffer.size());
}

#endif

}  // namespace

void ka_install_traces() {
    install();
}

void ka_bring_out_traces() {
    fflush(stdout);
    queue.bringOut();
}

void ka_finish_traces() {
    fflush(stdout);
    queue.finish();
}

CTracesInTransfer::CTracesInTransfer() {
    queue.enterTransfer();
}

CTracesInTransfer::~CTracesInTransfer() {
    fflush(stdout);  // what was printed so far comes under its rules
    queue.leaveTransfer();
}
