// A test in this process that tells another process how it goes.
#pragma once

#include "measure/record.h"
#include "show/outcome.h"

/// What is told, one message of a SOCK_SEQPACKET socket each.
struct STestMessage {
    enum class EKind { state, sample, redirect, traces };
    EKind kind;
    SRecord record;       ///< of a state
    STestFacts facts;     ///< of a state
    SSample sample;       ///< of a sample
    char url[512];        ///< of a redirect
    int tracesError = 0;  ///< errno of traces that could not be written
};

/// Runs the test that the arguments of net-test ask for. Tells `link` its state whenever a phase
/// begins, its samples and its redirects. Its traces go to standard output if `hasTraces`, else
/// nowhere. After `seconds` (0: no limit) of transfer the exit flag ends it; SIGTERM does so at any
/// time.
void run_watched_test(int argc, const char* const* argv, int link, int seconds, bool hasTraces);
