// The kinds of records.
#pragma once

#include <array>
#include <string_view>

#include "measure/record.h"

/// All of them.
extern const std::array<const SRecordKind*, 3> record_kinds;

/// The kind of a name, or of the path of its file; null when there is none.
const SRecordKind* find_record_kind(std::string_view name);

/// The kind that the bytes of a record look like. Those of an FTP upload look like a download's.
const SRecordKind& guess_record_kind(std::string_view bytes);
