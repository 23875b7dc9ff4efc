// A result record read back, and shown to people and programs.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "netbase/record.h"

/// A kind of record: what it is called, and its fields.
struct SRecordKind {
    const char* name;   ///< "get", "put", "http"; "ftp" when the direction is not known
    const char* title;  ///< in words
    const char* path;   ///< where the test keeps it; null for "ftp"
    const SRecordField* fields;
    size_t count;
};

/// All kinds.
extern const std::array<SRecordKind, 4> record_kinds;

/// The kind of a name that has a path of its own; null for any other name.
const SRecordKind* find_record_kind(std::string_view name);

/// The kind that the bytes of a record look like.
const SRecordKind& guess_record_kind(std::string_view bytes);

/// Most fields that a record has.
constexpr size_t record_fields_max = 16;

/// A record that was understood.
struct SRecord {
    const SRecordKind* kind;
    std::array<int64_t, record_fields_max> values;

    /// The value of a key that every record has.
    int64_t value(std::string_view key) const;
    bool hasPassed() const;
    /// True while the test has no verdict yet.
    bool isRunning() const;
    /// True when the speeds tell nothing, since no sample has been taken.
    bool isUnsampled() const;
};

/// Understands the bytes of a record file as a record of `kind`. False when they are none; `why`
/// then says what is wrong.
bool parse_record(std::string_view bytes, const SRecordKind& kind, SRecord* record,
                  std::string* why);

/// The record in words: verdict, phases, times, bytes and speeds, a line each.
std::string describe_record(const SRecord& record);

/// The record as a JSON object, the units in the names of its keys.
std::string record_to_json(const SRecord& record);

/// A running record in one short line.
std::string describe_progress(const SRecord& record);
