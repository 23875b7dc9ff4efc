// The traces on their way from the test to their reader, who may be slower.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "app/output.h"
#include "app/tracebuffer.h"

/// Passes the traces on without holding up what is being timed. While the buffer is full and the
/// reader takes something now and then, a timed span waits for it for its share of time, and what
/// is not timed for some minutes. Otherwise the oldest lines are left out.
class CTraceQueue {
  public:
    /// From now on the traces of the program and the library come here. The output stays the
    /// caller's.
    explicit CTraceQueue(COutput& output);
    CTraceQueue(const CTraceQueue&) = delete;
    CTraceQueue& operator=(const CTraceQueue&) = delete;
    /// Writes the last of them, waiting for their reader; there are no traces any more.
    ~CTraceQueue();

    void take(std::string_view text);
    /// Writes what the reader takes at once, every now and then. Returns the microseconds until the
    /// next time, negative when all is written.
    int tend();
    /// Writes all that the reader takes, waiting for it.
    void settle();

  protected:
    bool isEmpty();
    bool writeSome();
    bool waitForReader();

    COutput& m_output;
    FILE* m_stream = nullptr;
    std::array<char, 8192> m_block;  ///< of the stream: it collects the lines of some passes
    CTraceBuffer m_buffer;
    int64_t m_lastTended = 0;    ///< microseconds
    int64_t m_idleMsecs = 0;     ///< waited since the reader has last taken something
    int64_t m_untimedMsecs = 0;  ///< waited in all where nothing was timed
};
