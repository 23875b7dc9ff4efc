// What the process needs before the test may run, so that nobody around it can end or hold it up.
#pragma once

/// Opens "/dev/null" on whichever of the descriptors 0, 1 and 2 is closed: a socket that became one
/// of them would receive the traces, or count as closed. Call it before anything else.
void fill_standard_descriptors();

/// Lets a write to a peer that has gone, or beyond a limit on file sizes, fail instead of killing
/// the process. The signals get an empty handler rather than being ignored, so that child processes
/// start with the default.
void disarm_write_signals();

/// Makes standard output fully buffered, and keeps its reader from holding up the test: one that
/// does not take the traces is waited for a tenth of a second in all, then they are dropped.
void install_trace_output();

/// Brings out the last traces, for which the reader has half a second.
void finish_trace_output();
