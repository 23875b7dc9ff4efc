// The result of a test, as net-test-show knows it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "measure/record.h"

/// One speed sample of a test that was watched.
struct SSample {
    int64_t msecs = 0;  ///< from the start of the transfer to the sample
    int64_t bytes = 0;  ///< moved since the sample before
    int64_t speed = 0;  ///< bytes per second since the sample before
};

/// What a test that is watched tells beside its record. Fixed in size, to be sent from process to
/// process. All texts are printable.
struct STestFacts {
    char reason[256] = "";      ///< why it failed
    char host[64] = "";         ///< address of the server, once it is known
    int port = 0;               ///< its port
    int httpStatus = 0;         ///< of the answer; 0 or less: none
    char httpReason[256] = "";  ///< its reason phrase
    bool isTimeUp = false;      ///< the time that it was given has ended it
    /// Milliseconds that phases took, in the order of `phase_times`; negative: not taken.
    std::array<int64_t, 5> phaseMsecs = {-1, -1, -1, -1, -1};
};

enum : size_t { phase_resolve, phase_connect, phase_login, phase_head, phase_transfer };

/// What they are called: by a key in JSON, and in words.
struct SPhaseTime {
    const char* key;
    const char* meaning;
};
extern const std::array<SPhaseTime, 5> phase_times;

/// A test run, as far as it went.
struct STestReport {
    STestFacts facts;
    std::vector<SSample> samples;        ///< of the last answer
    std::vector<std::string> redirects;  ///< URLs
    std::vector<std::string> notes;      ///< on what is not done as the command line asks
    int64_t started = 0;                 ///< seconds since 1970
    int64_t durationMsecs = 0;
};

/// What is shown.
struct SOutcome {
    SOutcome(const SRecordKind* k, const SRecord& r) : kind(k), record(r) {}

    const SRecordKind* kind;
    SRecord record;
    bool isOver = false;                  ///< no test is behind the record any more
    const STestReport* report = nullptr;  ///< null: only the record is known
    std::string ended;                    ///< who ended the test before its time; empty: nobody
    bool isRefused = false;               ///< its HTTP status counts as a failure

    enum class EVerdict { running, unfinished, passed, failed, ended };
    EVerdict verdict() const;
    const char* verdictText() const;
    /// Why it is no success, in words; empty when it is one, or when nobody knows.
    std::string reason() const;
};

/// The state of a step in words.
const char* step_text(int64_t code);
