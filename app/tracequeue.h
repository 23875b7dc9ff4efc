// The traces, queued for a reader who may be slower than the test.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "app/output.h"
#include "app/tracebuffer.h"

/// Writes the traces without holding up what is being timed. When the buffer is full, it waits for
/// the reader within limits: less during a timed span, longer elsewhere. Then it drops the oldest
/// lines.
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
    int writeDue();
    /// Writes all that the reader takes, waiting for it.
    void flush();

  protected:
    bool isEmpty();
    bool writeSome();
    bool waitForReader();

    COutput& m_output;
    FILE* m_stream = nullptr;
    std::array<char, 8192> m_block;  ///< of the stream: it collects the lines of some passes
    CTraceBuffer m_buffer;
    int64_t m_lastWritten = 0;   ///< microseconds
    int64_t m_idleMsecs = 0;     ///< waited since the reader has last taken something
    int64_t m_untimedMsecs = 0;  ///< waited in all where nothing was timed
};
