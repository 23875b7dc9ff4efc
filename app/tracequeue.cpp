#include "app/tracequeue.h"

#include <stdio_ext.h>

#include <algorithm>
#include <cstdio>

#include "measure/timedspan.h"
#include "netbase/support/clock.h"
#include "netbase/support/trace.h"

namespace {

constexpr size_t piece_size = 8192;
constexpr size_t full_enough = 49152;
constexpr size_t dropped_at_once = 24576;

/// What is printed is written after this time.
constexpr int64_t write_interval_usecs = 50000;

// How long to wait for a reader that takes nothing.
constexpr int64_t timed_idle_msecs = 50;
constexpr int64_t untimed_idle_msecs = 3000;
/// How long to wait for a reader in all, where nothing is timed.
constexpr int64_t untimed_total_msecs = 120000;

CTraceQueue* installed = nullptr;

int64_t now_usecs() {
    return ka_tv_usecs(ka_now());
}

ssize_t write_traces(void*, const char* text, size_t size) {
    installed->take({text, size});
    return static_cast<ssize_t>(size);
}

int write_or_flush(bool may_wait) {
    if (may_wait)
        installed->flush();
    return installed->writeDue();
}

}  // namespace

CTraceQueue::CTraceQueue(COutput& output) : m_output(output) {
    m_stream = fopencookie(nullptr, "w", {nullptr, write_traces, nullptr, nullptr});
    if (m_stream == nullptr)
        return;
    setvbuf(m_stream, m_block.data(), _IOFBF, m_block.size());
    installed = this;
    ka_set_trace_stream(m_stream);
    ka_trace_hook = write_or_flush;
}

void CTraceQueue::take(std::string_view text) {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, piece_size);
        while (m_buffer.room() < piece.size()) {
            if (!writeSome() && !waitForReader())
                m_buffer.dropOldest(dropped_at_once);
        }
        m_buffer.push(piece);
        text.remove_prefix(piece.size());
    }
    if (m_buffer.size() > full_enough)
        writeSome();
}

bool CTraceQueue::writeSome() {
    const std::string_view text = m_buffer.front();
    const size_t written = text.empty() ? 0 : m_output.write(text);
    if (written == 0)
        return false;
    m_buffer.pop(written);
    m_idleMsecs = 0;
    return true;
}

int CTraceQueue::writeDue() {
    if (isEmpty())
        return -1;
    const int64_t now = now_usecs();
    if (now - m_lastWritten >= write_interval_usecs) {
        m_lastWritten = now;
        fflush(m_stream);
        while (writeSome()) {
        }
    }
    return isEmpty() ? -1 : static_cast<int>(m_lastWritten + write_interval_usecs - now);
}

bool CTraceQueue::isEmpty() {
    return __fpending(m_stream) == 0 && m_buffer.front().empty();
}

/// Waits until the reader takes something; false when the time for that is spent.
bool CTraceQueue::waitForReader() {
    CTimedSpan* span = CTimedSpan::current();
    const int64_t limit =
        span != nullptr
            ? std::min(timed_idle_msecs - m_idleMsecs, span->allowance())
            : std::min(untimed_idle_msecs - m_idleMsecs, untimed_total_msecs - m_untimedMsecs);
    if (limit <= 0)
        return false;
    const timeval start = ka_now();
    const bool is_ready = m_output.wait(limit);
    const int64_t waited = ka_tv_span_msecs(start, ka_now()) + 1;  // a wait counts as one at least
    m_idleMsecs += waited;
    if (span != nullptr)
        span->spend(waited);
    else
        m_untimedMsecs += waited;
    return is_ready;
}

void CTraceQueue::flush() {
    fflush(m_stream);
    while (!m_buffer.front().empty() && (writeSome() || waitForReader())) {
    }
}

CTraceQueue::~CTraceQueue() {
    if (m_stream == nullptr)
        return;
    m_idleMsecs = 0;
    flush();
    while (!m_output.isDone() && waitForReader()) {
    }
    ka_trace_hook = nullptr;
    ka_set_trace_stream(nullptr);
    fclose(m_stream);
}
