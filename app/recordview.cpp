#include "app/recordview.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "ftptest/ftprecord.h"
#include "httptest/httprecord.h"
#include "measure/netstep.h"

const std::array<const SRecordKind*, 3> record_kinds = {&ftp_get_record, &ftp_put_record,
                                                        &http_record};

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

const char* verdict_text(const SRecord& record, bool ended) {
    if (record.isRunning())
        return ended ? "unfinished" : "running";
    return record.hasPassed() ? "passed" : "failed";
}

const char* unsampled_text(const SRecord& record, bool ended) {
    if (record.isRunning() && !ended)
        return "not sampled yet";
    return record.totdata > 0 ? "too short to be sampled" : "nothing transferred";
}

double megabits(int64_t bytes_per_second) {
    return static_cast<double>(bytes_per_second) * 8e-6;
}

void append_speed(std::string* text, const char* label, int64_t speed) {
    append(text, "  %-24s %" PRId64 " B/s (%.3f Mbit/s)\n", label, speed, megabits(speed));
}

/// A value in three digits or four, with the prefix that goes with it behind `gap`.
void append_prefixed(std::string* text, int64_t value, const char* gap) {
    constexpr std::array<const char*, 5> prefixes = {"", "k", "M", "G", "T"};
    auto scaled = static_cast<double>(value);
    size_t i = 0;
    for (; scaled >= 1000 && i + 1 < prefixes.size(); ++i)
        scaled /= 1000;
    int decimals = scaled < 10 ? 2 : 1;
    if (i == 0 || scaled >= 100)
        decimals = 0;
    append(text, "%.*f%s%s", decimals, scaled, gap, prefixes.at(i));
}

/// Time, bytes, latest and average speed of a transfer.
std::string describe_figures(const SRecord& record, bool brief) {
    constexpr int64_t speed_max = INT64_MAX / 8;
    const char* gap = brief ? "" : " ";
    std::string text;
    append(&text, brief ? "%.0fs " : "%.1f s, ", static_cast<double>(record.trtime) / 1000);
    append_prefixed(&text, record.totdata, gap);
    text += brief ? "B " : "B, ";
    append_prefixed(&text, std::min(record.curspeed, speed_max) * 8, gap);
    text += brief ? " avg " : "bit/s, average ";
    append_prefixed(&text, std::min(record.avgspeed, speed_max) * 8, gap);
    return text + "bit/s";
}

const char* unit_name(EFigure unit) {
    switch (unit) {
        case EFigure::msecs:
            return "ms";
        case EFigure::bytes:
            return "bytes";
        default:
            return "bytes_per_second";
    }
}

}  // namespace

const SRecordKind* find_record_kind(std::string_view name) {
    for (const SRecordKind* kind : record_kinds) {
        if (name == kind->name)
            return kind;
    }
    return nullptr;
}

const SRecordKind& guess_record_kind(std::string_view bytes) {
    for (const SRecordKind* kind : record_kinds) {
        if (bytes.find(kind->steps[kind->stepCount - 1].key) != std::string_view::npos)
            return *kind;
    }
    return http_record;
}

std::string describe_record(const SRecordKind& kind, const SRecord& record, bool ended) {
    std::string text;
    append(&text, "%s: %s\n", kind.title, verdict_text(record, ended));
    for (size_t i = 0; i < kind.stepCount; ++i)
        append(&text, "  %-24s %s\n", kind.steps[i].meaning, step_text(record.steps[i]));
    for (const SRecordFigure& figure : record_figures) {
        const int64_t value = record.*figure.value;
        if (figure.unit != EFigure::speed)
            append(&text, "  %-24s %" PRId64 " %s\n", figure.meaning, value,
                   unit_name(figure.unit));
        else if (!record.isUnsampled())
            append_speed(&text, figure.meaning, value);
    }
    if (record.isUnsampled())
        append(&text, "  %-24s %s\n", "speed", unsampled_text(record, ended));
    if (record.trtime > 0)
        append_speed(&text, "overall speed", record.overallSpeed());
    return text;
}

std::string record_to_json(const SRecordKind& kind, const SRecord& record, bool ended) {
    std::string text;
    append(&text, "{\"test\": \"%s\", \"verdict\": \"%s\", \"phases\": {", kind.name,
           verdict_text(record, ended));
    for (size_t i = 0; i < kind.stepCount; ++i)
        append(&text, "%s\"%s\": \"%s\"", i > 0 ? ", " : "", kind.steps[i].key,
               step_text(record.steps[i]));
    text += "}";
    for (const SRecordFigure& figure : record_figures) {
        append(&text, ", \"%s_%s\": ", figure.key, unit_name(figure.unit));
        if (figure.unit == EFigure::speed && record.isUnsampled())
            text += "null";
        else
            append(&text, "%" PRId64, record.*figure.value);
    }
    text += ", \"overall_bytes_per_second\": ";
    if (record.trtime > 0)
        append(&text, "%" PRId64, record.overallSpeed());
    else
        text += "null";
    return text + "}\n";
}

std::string describe_progress(const SRecordKind& kind, const SRecord& record, size_t columns) {
    std::string phase = kind.title;
    for (size_t i = 0; i < kind.stepCount; ++i) {
        if (record.steps[i] == MEAS_STEP_INPROGRESS)
            phase = kind.steps[i].meaning;
    }
    std::string text = phase;
    if (record.trtime > 0)
        text += ": " + describe_figures(record, false);
    if (text.size() > columns && record.trtime > 0) {
        const std::string figures = " " + describe_figures(record, true);
        text = phase.substr(0, columns - std::min(columns, figures.size())) + figures;
    }
    return text.substr(0, columns);
}
