// Settings of the process that are made before the test runs.
#pragma once

/// Opens "/dev/null" on whichever of the descriptors 0, 1 and 2 is closed: a socket that became one
/// of them would receive the traces, or count as closed. Call it before anything else.
void fill_standard_descriptors();

/// Lets a write to a peer that has gone, or beyond a limit on file sizes, fail instead of killing
/// the process. The signals get an empty handler rather than being ignored, so that child processes
/// start with the default.
void disarm_write_signals();
