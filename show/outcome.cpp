#include "show/outcome.h"

#include "measure/netstep.h"

const std::array<SPhaseTime, 5> phase_times = {{
    {"resolve", "name look-up time"},
    {"connect", "connect time"},
    {"login", "login time"},
    {"head", "answer time"},
    {"transfer", "transfer time"},
}};

SOutcome::EVerdict SOutcome::verdict() const {
    if (!ended.empty() && !isRefused)
        return EVerdict::ended;
    if (record.isRunning() && isOver)
        return reason().empty() ? EVerdict::unfinished : EVerdict::failed;
    if (record.isRunning())
        return EVerdict::running;
    return record.hasPassed() && !isRefused ? EVerdict::passed : EVerdict::failed;
}

const char* SOutcome::verdictText() const {
    switch (verdict()) {
        case EVerdict::running:
            return "running";
        case EVerdict::unfinished:
            return "unfinished";
        case EVerdict::passed:
            return "passed";
        case EVerdict::ended:
            return "ended";
        default:
            return "failed";
    }
}

std::string SOutcome::reason() const {
    if (!ended.empty() && !isRefused)
        return ended;
    if (report == nullptr || (record.hasPassed() && !isRefused))
        return "";
    if (isRefused && (record.hasPassed() || !ended.empty()))
        return "server answered " + std::to_string(report->facts.httpStatus) + " " +
               report->facts.httpReason;
    return report->facts.reason;
}

const char* step_text(int64_t code) {
    switch (code) {
        case MEAS_STEP_INIT:
        case MEAS_STEP_INPROGRESS:
            return "in progress";
        case MEAS_STEP_FAIL:
            return "fail";
        case MEAS_STEP_PASS:
            return "pass";
        default:
            return "not reached";
    }
}
