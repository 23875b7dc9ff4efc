#include "app/recordview.h"

#include <charconv>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "ftptest/ftprecord.h"
#include "httptest/httprecord.h"
#include "netbase/netstep.h"
#include "netbase/transferstat.h"

static_assert(ftp_record_fields.size() <= record_fields_max);
static_assert(http_record_fields.size() <= record_fields_max);

const std::array<SRecordKind, 4> record_kinds = {{
    {"get", "FTP download", ftp_get_record_path, ftp_record_fields.data(),
     ftp_record_fields.size()},
    {"put", "FTP upload", ftp_put_record_path, ftp_record_fields.data(), ftp_record_fields.size()},
    {"http", "HTTP download", http_record_path, http_record_fields.data(),
     http_record_fields.size()},
    {"ftp", "FTP transfer", nullptr, ftp_record_fields.data(), ftp_record_fields.size()},
}};

namespace {

[[gnu::format(printf, 2, 3)]] void append(std::string* text, const char* format, ...) {
    char part[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(part, sizeof(part), format, arguments);  // NOLINT: va_start has set them up
    va_end(arguments);
    *text += part;
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

const char* verdict_text(const SRecord& record) {
    if (record.isRunning())
        return "running";
    return record.hasPassed() ? "passed" : "failed";
}

const char* unsampled_text(const SRecord& record) {
    if (record.isRunning())
        return "not sampled yet";
    return record.value("totdata") > 0 ? "too short to be sampled" : "nothing transferred";
}

double megabits(int64_t bytes_per_second) {
    return static_cast<double>(bytes_per_second) * 8e-6;
}

/// Bytes over the whole transfer time. Unlike the average it needs no sample.
int64_t overall_speed(const SRecord& record) {
    return ka_bytes_per_second(record.value("totdata"), record.value("trtime"));
}

/// Takes "key" and its separator off `rest`.
bool take_key(std::string_view* rest, const SRecordField& field) {
    const std::string_view key(field.key);
    if (rest->substr(0, key.size()) != key ||
        rest->substr(key.size(), 1) != std::string_view(&field.separator, 1))
        return false;
    rest->remove_prefix(key.size() + 1);
    return true;
}

bool take_number(std::string_view* rest, int64_t* value) {
    const auto [end, error] = std::from_chars(rest->data(), rest->data() + rest->size(), *value);
    if (error != std::errc())
        return false;
    rest->remove_prefix(static_cast<size_t>(end - rest->data()));
    return true;
}

void append_speed(std::string* text, const char* label, int64_t speed) {
    append(text, "  %-24s %" PRId64 " B/s (%.3f Mbit/s)\n", label, speed, megabits(speed));
}

}  // namespace

const SRecordKind* find_record_kind(std::string_view name) {
    for (const SRecordKind& kind : record_kinds) {
        if (kind.path != nullptr && name == kind.name)
            return &kind;
    }
    return nullptr;
}

const SRecordKind& guess_record_kind(std::string_view bytes) {
    const bool is_ftp = bytes.find(ftp_record_fields[2].key) != std::string_view::npos;
    return record_kinds[is_ftp ? 3 : 2];
}

int64_t SRecord::value(std::string_view key) const {
    for (size_t i = 0; i < kind->count; ++i) {
        if (key == kind->fields[i].key)
            return values[i];
    }
    return 0;
}

bool SRecord::hasPassed() const {
    return value("overall_step") == MEAS_STEP_PASS;
}

bool SRecord::isRunning() const {
    return !hasPassed() && value("overall_step") != MEAS_STEP_FAIL;
}

bool SRecord::isUnsampled() const {
    // A sample is due every second of data, and with bytes it is 0 only below 1 B/s.
    return value("maxspeed") == 0 && (value("trtime") < 1000 || value("totdata") > 0);
}

bool parse_record(std::string_view bytes, const SRecordKind& kind, SRecord* record,
                  std::string* why) {
    record->kind = &kind;
    record->values = {};
    std::string_view rest = bytes;
    for (size_t i = 0; i < kind.count; ++i) {
        const SRecordField& field = kind.fields[i];
        if (i > 0 && (rest.empty() || rest.front() != ',')) {
            *why = std::string("it ends before \"") + field.key + "\"";
            return false;
        }
        rest.remove_prefix(i > 0 ? 1 : 0);
        if (!take_key(&rest, field)) {
            *why = std::string("\"") + field.key + field.separator + "\" is not where it belongs";
            return false;
        }
        int64_t& value = record->values[i];
        if (!take_number(&rest, &value) || value < 0 ||
            (field.kind <= ERecordValue::step && value > MEAS_STEP_PASS)) {
            *why = std::string("\"") + field.key + "\" has no value that it may have";
            return false;
        }
    }
    if (rest != std::string_view("\0", 1)) {
        *why = "something other than its closing NUL follows its last field";
        return false;
    }
    return true;
}

std::string describe_record(const SRecord& record) {
    std::string text;
    append(&text, "%s: %s\n", record.kind->title, verdict_text(record));
    for (size_t i = 0; i < record.kind->count; ++i) {
        const SRecordField& field = record.kind->fields[i];
        const int64_t value = record.values[i];
        switch (field.kind) {
            case ERecordValue::verdict:
                break;
            case ERecordValue::step:
                append(&text, "  %-24s %s\n", field.meaning, step_text(value));
                break;
            case ERecordValue::msecs:
                append(&text, "  %-24s %" PRId64 " ms\n", field.meaning, value);
                break;
            case ERecordValue::bytes:
                append(&text, "  %-24s %" PRId64 " bytes\n", field.meaning, value);
                break;
            case ERecordValue::speed:
                if (!record.isUnsampled())
                    append_speed(&text, field.meaning, value);
                break;
        }
    }
    if (record.isUnsampled())
        append(&text, "  %-24s %s\n", "speed", unsampled_text(record));
    if (record.value("trtime") > 0)
        append_speed(&text, "data / transfer time", overall_speed(record));
    return text;
}

std::string record_to_json(const SRecord& record) {
    std::string text;
    append(&text, "{\"test\": \"%s\", \"verdict\": \"%s\", \"phases\": {", record.kind->name,
           verdict_text(record));
    const char* separator = "";
    bool in_phases = true;
    for (size_t i = 0; i < record.kind->count; ++i) {
        const SRecordField& field = record.kind->fields[i];
        if (field.kind == ERecordValue::verdict)
            continue;
        if (field.kind == ERecordValue::step) {
            append(&text, "%s\"%s\": \"%s\"", separator, field.key, step_text(record.values[i]));
            separator = ", ";
            continue;
        }
        if (in_phases)
            text += "}";
        in_phases = false;
        const char* unit = field.kind == ERecordValue::msecs   ? "ms"
                           : field.kind == ERecordValue::bytes ? "bytes"
                                                               : "bytes_per_second";
        append(&text, ", \"%s_%s\": ", field.key, unit);
        if (field.kind == ERecordValue::speed && record.isUnsampled())
            text += "null";
        else
            append(&text, "%" PRId64, record.values[i]);
    }
    append(&text, ", \"overall_bytes_per_second\": ");
    if (record.value("trtime") > 0)
        append(&text, "%" PRId64, overall_speed(record));
    else
        text += "null";
    return text + "}\n";
}

std::string describe_progress(const SRecord& record) {
    std::string text;
    for (size_t i = 0; i < record.kind->count; ++i) {
        const SRecordField& field = record.kind->fields[i];
        if (field.kind == ERecordValue::step &&
            step_text(record.values[i]) == std::string_view("in progress"))
            append(&text, "%s: ", field.meaning);
    }
    append(&text, "%.1f s, %" PRId64 " bytes, %.3f Mbit/s",
           static_cast<double>(record.value("trtime")) / 1000, record.value("totdata"),
           megabits(record.value("curspeed")));
    return text;
}
