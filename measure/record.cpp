#include "measure/record.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "measure/netstep.h"
#include "measure/transferstat.h"
#include "netbase/support/trace.h"

const std::array<SRecordFigure, 7> record_figures = {{
    {"contime", &SRecord::contime, EFigure::msecs, "connect time"},
    {"trtime", &SRecord::trtime, EFigure::msecs, "transfer time"},
    {"totdata", &SRecord::totdata, EFigure::bytes, "data"},
    {"curspeed", &SRecord::curspeed, EFigure::speed, "latest speed"},
    {"minspeed", &SRecord::minspeed, EFigure::speed, "lowest speed"},
    {"maxspeed", &SRecord::maxspeed, EFigure::speed, "highest speed"},
    {"avgspeed", &SRecord::avgspeed, EFigure::speed, "average speed"},
}};

namespace {

/// One key and value pair of the line.
struct SField {
    const char* key;
    char separator;
    int64_t* value;
    int64_t max;
};

/// All pairs of a record, in their order; the rest of the array is empty.
std::array<SField, 1 + record_steps_max + record_figures.size()> fields_of(const SRecordKind& kind,
                                                                           SRecord* record) {
    std::array<SField, 1 + record_steps_max + record_figures.size()> fields{};
    SField* field = fields.data();
    *field++ = {"overall_step", ':', &record->verdict, MEAS_STEP_PASS};
    for (size_t i = 0; i < kind.stepCount; ++i)
        *field++ = {kind.steps[i].key, kind.steps[i].separator, &record->steps[i], MEAS_STEP_PASS};
    for (const SRecordFigure& figure : record_figures)
        *field++ = {figure.key, ':', &(record->*figure.value), INT64_MAX};
    return fields;
}

/// Takes `text` off `rest`; false when something else is there.
bool take_text(std::string_view* rest, std::string_view text) {
    if (rest->substr(0, text.size()) != text)
        return false;
    rest->remove_prefix(text.size());
    return true;
}

bool take_number(std::string_view* rest, int64_t max, int64_t* value) {
    const auto [end, error] = std::from_chars(rest->data(), rest->data() + rest->size(), *value);
    if (error != std::errc() || *value < 0 || *value > max)
        return false;
    rest->remove_prefix(static_cast<size_t>(end - rest->data()));
    return true;
}

}  // namespace

bool SRecord::hasPassed() const {
    return verdict == MEAS_STEP_PASS;
}

bool SRecord::isRunning() const {
    return !hasPassed() && verdict != MEAS_STEP_FAIL;
}

bool SRecord::isUnsampled() const {
    // A sample is due every second of data, and with bytes it is 0 only below 1 B/s.
    return maxspeed == 0 && (trtime < 1000 || totdata > 0);
}

int64_t SRecord::overallSpeed() const {
    return ka_bytes_per_second(totdata, trtime);
}

CRecordText ka_format_record(const SRecordKind& kind, SRecord record) {
    CRecordText text{};
    size_t used = 0;
    for (const SField& field : fields_of(kind, &record)) {
        if (field.key == nullptr || used >= text.size())
            break;
        const int length = snprintf(text.data() + used, text.size() - used, "%s%s%c%" PRId64,
                                    used > 0 ? "," : "", field.key, field.separator, *field.value);
        used += length > 0 ? static_cast<size_t>(length) : 0;
    }
    return text;
}

bool ka_parse_record(std::string_view bytes, const SRecordKind& kind, SRecord* record,
                     std::string* why) {
    *record = {};
    std::string_view rest = bytes;
    for (const SField& field : fields_of(kind, record)) {
        if (field.key == nullptr)
            break;
        const std::string key = std::string("\"") + field.key;
        if (rest.data() != bytes.data() && !take_text(&rest, ",")) {
            *why = "it ends before " + key + "\"";
            return false;
        }
        if (!take_text(&rest, field.key) || !take_text(&rest, {&field.separator, 1})) {
            *why = key + field.separator + "\" is not where it belongs";
            return false;
        }
        if (!take_number(&rest, field.max, field.value)) {
            *why = key + "\" has no value that it may have";
            return false;
        }
    }
    if (rest == std::string_view("\0", 1))
        return true;
    *why = rest.empty() ? "its closing NUL is missing"
                        : "something other than its closing NUL follows its last field";
    return false;
}

CRecordFile::CRecordFile(const char* path)
    : m_stream(ka_open_file(path, true)),
      m_lacksDescriptor(m_stream == nullptr && (errno == EMFILE || errno == ENFILE)) {
    if (m_stream == nullptr)
        ka_trace("File error setup save!\n");
}

void CRecordFile::write(const CRecordText& text) {
    if (m_stream == nullptr)
        return;
    const size_t size = std::strlen(text.data()) + 1;
    fwrite(text.data(), 1, size, m_stream.get());
    fflush(m_stream.get());
    // Another test may have written a longer one since this file was emptied.
    const int file = fileno(m_stream.get());
    struct stat status {};
    if (fstat(file, &status) == 0 && status.st_size > static_cast<off_t>(size)) {
        [[maybe_unused]] const int cut = ftruncate(file, static_cast<off_t>(size));
    }
    m_stream.reset();
}
