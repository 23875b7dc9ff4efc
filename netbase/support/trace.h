// The progress lines of the library and of the tests.
#pragma once

#include <cstdio>

/// Prints to the trace stream, as printf does.
[[gnu::format(printf, 1, 2)]] void ka_trace(const char* format, ...);

/// Sends the traces to another stream than standard output; null drops them. The stream stays the
/// caller's and must live as long as it is set.
void ka_set_trace_stream(FILE* stream);

/// For a program that buffers the traces itself; null unless it sets one. Every wait of the library
/// calls it first, with `may_wait` false: it writes what its reader takes at once. It returns after
/// how many microseconds it is to be called again, negative if it need not be. Where nothing is
/// being timed it is called with `may_wait` true, and may wait for its reader.
extern int (*ka_trace_hook)(bool may_wait);

/// Writes what the reader takes at once. Called before anything else that waits.
inline void ka_write_traces() {
    if (ka_trace_hook != nullptr)
        ka_trace_hook(false);
}

/// Writes all that was printed. Called where nothing is being timed, before a timed span.
inline void ka_flush_traces() {
    if (ka_trace_hook != nullptr)
        ka_trace_hook(true);
}
