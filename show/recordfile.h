// Record files as they lie in the file system.
#pragma once

#include <sys/time.h>

#include <ctime>
#include <string>

#include "measure/record.h"

/// What was read last.
struct SReading {
    const SRecordKind* kind =
        nullptr;  ///< null until it is known; then what the content looks like
    SRecord record{};
    timespec written{};  ///< when the file was rewritten

    /// True when the record says that a test is running, but has not been rewritten for longer than
    /// all waits of a test together: there is none any more. By the clock of the day, so it may err
    /// when that was set.
    bool isOld() const;
};

/// Reads a record. False, the reading unchanged, when there is none or the file holds something
/// else; `why` then says so.
bool read_record(const char* path, SReading* reading, std::string* why);

/// Tells whether the test behind a record that is being followed can still be alive.
class CRecordWatch {
  public:
    /// Takes note of what was read at `now`, a reading of the monotonic clock. True when the record
    /// is old, and has been watched for as long without a change.
    bool isAbandoned(const SReading& reading, const timeval& now);

  protected:
    timespec m_written{};
    timeval m_since{};
};

/// Empties or removes the record of an earlier test, so that whatever is read afterwards is
/// younger. Never follows a link. False, with `why`, when that can't be done; a test of this user
/// could not rewrite it either.
bool clear_record(const char* path, std::string* why);
