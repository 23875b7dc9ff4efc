// The result record: one line of key and value pairs that the device's other software reads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "netbase/descriptor.h"

/// What a field of a record holds.
enum class ERecordValue { verdict, step, msecs, bytes, speed };

/// One field of a record. Writers and readers of a record go by the same list of these.
struct SRecordField {
    const char* key;
    char separator;  ///< stands between key and value
    ERecordValue kind;
    const char* meaning;  ///< in words, for people
};

/// What every record ends with, behind its steps.
constexpr std::array<SRecordField, 7> record_transfer_fields = {{
    {"contime", ':', ERecordValue::msecs, "connect time"},
    {"trtime", ':', ERecordValue::msecs, "transfer time"},
    {"totdata", ':', ERecordValue::bytes, "data"},
    {"curspeed", ':', ERecordValue::speed, "latest speed"},
    {"minspeed", ':', ERecordValue::speed, "lowest speed"},
    {"maxspeed", ':', ERecordValue::speed, "highest speed"},
    {"avgspeed", ':', ERecordValue::speed, "average speed"},
}};

/// All fields of a record that has these steps.
template <size_t N>
constexpr std::array<SRecordField, N + record_transfer_fields.size()> ka_record_fields(
    const std::array<SRecordField, N>& steps) {
    std::array<SRecordField, N + record_transfer_fields.size()> fields{};
    for (size_t i = 0; i < fields.size(); ++i)
        fields[i] = i < N ? steps[i] : record_transfer_fields[i - N];
    return fields;
}

/// Longest record text, its terminating NUL included.
constexpr size_t record_text_size = 512;

using CRecordText = std::array<char, record_text_size>;

/// Formats `count` fields with their values, in decimal, joined by commas.
CRecordText ka_format_record(const SRecordField* fields, const int64_t* values, size_t count);

/// A record file that is being rewritten. Opening it empties it, so that a reader sees an empty
/// file or a whole record, never a part of one.
class CRecordFile {
  public:
    /// Prints "File error setup save!" when the file can't be opened.
    explicit CRecordFile(const char* path);

    /// Writes the text and its NUL at once, ends the file there and closes it, if it is open.
    void write(const CRecordText& text);

  protected:
    CStream m_stream;
};
