// The traces on their way from the test to their reader, who may be slower.
#pragma once

#include <cstdint>
#include <string_view>

#include "app/tracebuffer.h"
#include "app/traceoutput.h"

/// Passes the traces on without holding up what is being timed. While the buffer is full and the
/// reader takes something now and then, a timed span waits for it for its share of time, and what
/// is not timed for some minutes. Otherwise the oldest lines are left out.
class CTraceQueue {
  public:
    /// The output stays the caller's.
    explicit CTraceQueue(CTraceOutput& output) : m_output(output) {}

    /// Sends the traces of the program and the library here, as long as the process lives.
    void install();

    void take(std::string_view text);
    /// Writes what the reader takes at once, every now and then. Returns the microseconds until the
    /// next time, negative when all is written.
    int tend();
    /// Writes all that the reader takes, waiting for it.
    void settle();
    /// The same for the last time.
    void finish();

  protected:
    bool writeSome();
    bool waitForReader();

    CTraceOutput& m_output;
    CTraceBuffer m_buffer;
    int64_t m_lastTended = 0;    ///< microseconds
    int64_t m_idleMsecs = 0;     ///< waited since the reader has last taken something
    int64_t m_untimedMsecs = 0;  ///< waited in all where nothing was timed
};
