// The progress lines of the library and of the tests.
#pragma once

#include <cstdio>

/// Prints to the trace stream, as printf does.
[[gnu::format(printf, 1, 2)]] void ka_trace(const char* format, ...);

/// Sends the traces to another stream than standard output; null drops them. The stream stays the
/// caller's and must live as long as it is set.
void ka_set_trace_stream(FILE* stream);

/// For a program that buffers the traces itself; null unless it sets one. Every wait of the library
/// calls it first, with `may_wait` false: it passes on what its reader takes at once, and returns
/// after how many microseconds it wants to be called again, negative for not at all. Where nothing
/// is being timed it is called with `may_wait` true, and may wait for its reader.
extern int (*ka_trace_care)(bool may_wait);

/// Before something else that waits.
inline void ka_tend_traces() {
    if (ka_trace_care != nullptr)
        ka_trace_care(false);
}

/// Passes on what was printed. Called where nothing is being timed, before something that is or
/// that may last.
inline void ka_settle_traces() {
    if (ka_trace_care != nullptr)
        ka_trace_care(true);
}
