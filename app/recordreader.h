// Record files as they lie in the file system.
#pragma once

#include <ctime>
#include <string>

#include "measure/record.h"

/// What was read last.
struct SReading {
    const SRecordKind* kind =
        nullptr;  ///< null until it is known; then what the content looks like
    SRecord record{};
    timespec written{};  ///< when the file was rewritten

    /// True when the record says that a test is running, but none can be behind it: it has not been
    /// rewritten for longer than all waits of a test together.
    bool isAbandoned() const;
};

/// Reads a record. False, the reading unchanged, when there is none or the file holds something
/// else; `why` then says so.
bool read_record(const char* path, SReading* reading, std::string* why);

/// Empties or removes the record of an earlier test, so that whatever is read afterwards is
/// younger. False, with `why`, when that can't be done; a test of this user could not rewrite it
/// either.
bool clear_record(const char* path, std::string* why);
