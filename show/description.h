// Results of tests as text for people.
#pragma once

#include <string>

#include "measure/record.h"
#include "show/outcome.h"

/// Verdict and reason, phases, times, bytes and speeds, a line each, and the speed over time in at
/// most `columns` characters, which are those of UTF-8 or else of ASCII.
std::string describe_outcome(const SOutcome& outcome, size_t columns, bool isUtf8);

/// A running test in one line of at most `columns` characters: phase, time, bytes, latest and
/// average speed, as many of them as fit; or how long nothing has moved, if that is for some time.
std::string describe_progress(const SRecordKind& kind, const SRecord& record, int64_t quietSeconds,
                              size_t columns);
