// Results of tests as JSON.
#pragma once

#include <string>

#include "show/outcome.h"

/// The outcome as a JSON object (RFC 8259) in one line; net-test-show(1) describes its keys.
std::string outcome_to_json(const SOutcome& outcome);
