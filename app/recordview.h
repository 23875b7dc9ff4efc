// A result record shown to people and programs.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "measure/record.h"

/// All kinds of records.
extern const std::array<const SRecordKind*, 3> record_kinds;

/// The kind of a name; null when there is none.
const SRecordKind* find_record_kind(std::string_view name);

/// The kind that the bytes of a record look like. Those of an FTP upload look like a download's.
const SRecordKind& guess_record_kind(std::string_view bytes);

/// The record in words: verdict, phases, times, bytes and speeds, a line each. `ended` says that no
/// test is behind it any more: then one that is running by its record is called unfinished.
std::string describe_record(const SRecordKind& kind, const SRecord& record, bool ended);

/// The record as a JSON object, the units in the names of its keys.
std::string record_to_json(const SRecordKind& kind, const SRecord& record, bool ended);

/// A running record in one line of at most `columns` characters: phase, time, bytes, latest and
/// average speed. Where they don't fit in words, the figures stand close and the phase is cut.
std::string describe_progress(const SRecordKind& kind, const SRecord& record, size_t columns);
