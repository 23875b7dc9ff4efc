// The result record: what a test has come to, as a value, and the one line of key and value pairs
// that the device's other software reads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "netbase/support/descriptor.h"

/// Most steps that a test has.
constexpr size_t record_steps_max = 6;

struct SRecord {
    int64_t verdict = 0;                            ///< a step code, like the steps
    std::array<int64_t, record_steps_max> steps{};  ///< in the order of the test's phases
    int64_t contime = 0;                            ///< ms
    int64_t trtime = 0;                             ///< ms
    int64_t totdata = 0;                            ///< bytes
    int64_t curspeed = 0;                           ///< bytes per second, like those below
    int64_t minspeed = 0;
    int64_t maxspeed = 0;
    int64_t avgspeed = 0;

    bool hasPassed() const;
    /// True while the test has no verdict yet.
    bool isRunning() const;
    /// True when the speeds tell nothing, since no sample has been taken.
    bool isUnsampled() const;
    /// Bytes over the whole transfer time, per second. Unlike the average it needs no sample.
    int64_t overallSpeed() const;
};

/// What every record ends with, behind its steps.
enum class EFigure { msecs, bytes, speed };
struct SRecordFigure {
    const char* key;
    int64_t SRecord::*value;
    EFigure unit;
    const char* meaning;  ///< in words, for people
};
extern const std::array<SRecordFigure, 7> record_figures;

struct SRecordStep {
    const char* key;
    char separator;  ///< stands between key and value
    const char* meaning;
};

/// The kind of a record: what it is called, where it lies, and its steps in their order.
struct SRecordKind {
    const char* name;
    const char* title;
    const char* path;
    std::array<SRecordStep, record_steps_max> steps;
    size_t stepCount;
};

/// Longest record text, its terminating NUL included.
constexpr size_t record_text_size = 512;

using CRecordText = std::array<char, record_text_size>;

/// The text of a record: its values in decimal, joined by commas.
CRecordText ka_format_record(const SRecordKind& kind, SRecord record);

/// Reads the bytes of a record file. False when they are no record of that kind; `why` then says
/// what is wrong.
bool ka_parse_record(std::string_view bytes, const SRecordKind& kind, SRecord* record,
                     std::string* why);

/// A record file that is being rewritten. Opening it empties it, so that a reader sees an empty
/// file or a whole record, never a part of one. It is locked meanwhile (flock), for other tests.
class CRecordFile {
  public:
    /// Prints "File error setup save!" when the file can't be opened.
    explicit CRecordFile(const char* path);

    /// True when it can't be opened because no descriptor is left.
    bool lacksDescriptor() const { return m_lacksDescriptor; }

    /// Writes the text and its NUL at once, ends the file there and closes it, if it is open.
    void write(const CRecordText& text);

  protected:
    CDescriptor m_file;
    bool m_lacksDescriptor;
};
