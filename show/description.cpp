#include "show/description.h"

#include <cinttypes>
#include <cstring>
#include <initializer_list>
#include <iterator>

#include "measure/netstep.h"
#include "measure/record.h"
#include "show/chart.h"
#include "show/text.h"

namespace {

/// A transfer in which nothing has moved for as long is said to stand still.
constexpr int64_t still_seconds = 3;

void append_row(std::string* text, const char* label, const std::string& value) {
    *text += "  " + std::string(label) +
             std::string(25 - std::min<size_t>(std::strlen(label), 24), ' ') + value + "\n";
}

std::string describe_speed(int64_t speed) {
    std::string text;
    append(&text, "%" PRId64 " B/s (%.3f Mbit/s)", speed, static_cast<double>(speed) * 8e-6);
    return text;
}

const char* unsampled_text(const SOutcome& outcome) {
    if (outcome.record.isRunning() && !outcome.isOver)
        return "not sampled yet";
    return outcome.record.totdata > 0 ? "too short to be sampled" : "nothing transferred";
}

std::string describe_verdict(const SOutcome& outcome) {
    std::string text = std::string(outcome.kind->title) + ": ";
    const std::string reason = outcome.reason();
    if (outcome.verdict() == SOutcome::EVerdict::ended)
        return text + reason + "\n";
    text += outcome.verdictText();
    if (!reason.empty())
        text += ": " + reason;
    else if (outcome.report != nullptr && outcome.report->facts.httpStatus > 0)
        append(&text, ", status %d %s", outcome.report->facts.httpStatus,
               outcome.report->facts.httpReason);
    return text + "\n";
}

std::string describe_step(const SOutcome& outcome, size_t step) {
    const bool is_cut = outcome.isOver && outcome.record.steps.at(step) == MEAS_STEP_INPROGRESS;
    return is_cut ? "not finished" : step_text(outcome.record.steps.at(step));
}

/// The redirects, the server and the notes.
void append_way(std::string* text, const STestReport& report) {
    for (const std::string& url : report.redirects)
        append_row(text, "redirected to", url);
    if (report.facts.host[0] != '\0')
        append_row(text, "server",
                   std::string(report.facts.host) + " port " + std::to_string(report.facts.port));
    for (const std::string& note : report.notes)
        append_row(text, "note", note);
}

/// The time of a phase, if it was taken.
void append_phase_time(std::string* text, const SOutcome& outcome, size_t phase) {
    if (outcome.report != nullptr && outcome.report->facts.phaseMsecs.at(phase) >= 0)
        append_row(text, phase_times.at(phase).meaning,
                   std::to_string(outcome.report->facts.phaseMsecs.at(phase)) + " ms");
}

void append_figures(std::string* text, const SOutcome& outcome) {
    const SRecord& record = outcome.record;
    append_phase_time(text, outcome, phase_resolve);
    append_row(text, phase_times[phase_connect].meaning, std::to_string(record.contime) + " ms");
    append_phase_time(text, outcome, phase_login);
    append_phase_time(text, outcome, phase_head);
    append_row(text, phase_times[phase_transfer].meaning, std::to_string(record.trtime) + " ms");
    append_row(text, "data", std::to_string(record.totdata) + " bytes");
    for (const SRecordFigure& figure : record_figures) {
        if (figure.unit == EFigure::speed && !record.isUnsampled())
            append_row(text, figure.meaning, describe_speed(record.*figure.value));
    }
    if (record.isUnsampled())
        append_row(text, "speed", unsampled_text(outcome));
    if (record.trtime > 0)
        append_row(text, "overall speed", describe_speed(record.overallSpeed()));
}

/// Time, bytes, latest and average speed of a transfer.
std::string describe_transfer(const SRecord& record, bool brief) {
    const char* gap = brief ? "" : " ";
    std::string text;
    append(&text, brief ? "%.0fs " : "%.1f s, ", static_cast<double>(record.trtime) / 1000);
    append_prefixed(&text, record.totdata, gap);
    text += brief ? "B " : "B, ";
    append_prefixed(&text, to_bits(record.curspeed), gap);
    text += brief ? " avg " : "bit/s, average ";
    append_prefixed(&text, to_bits(record.avgspeed), gap);
    return text + "bit/s";
}

std::string current_phase(const SRecordKind& kind, const SRecord& record) {
    std::string phase = kind.title;
    for (size_t i = 0; i < kind.stepCount; ++i) {
        if (record.steps[i] == MEAS_STEP_INPROGRESS)
            phase = kind.steps[i].meaning;
    }
    return phase;
}

/// The first of the texts that fits; else what fits of the last.
std::string first_fitting(std::initializer_list<std::string> texts, size_t columns) {
    for (const std::string& text : texts) {
        if (text.size() <= columns)
            return text;
    }
    return std::prev(texts.end())->substr(0, columns);
}

}  // namespace

std::string describe_outcome(const SOutcome& outcome, size_t columns, bool isUtf8) {
    std::string text = describe_verdict(outcome);
    for (size_t i = 0; i < outcome.kind->stepCount; ++i)
        append_row(&text, outcome.kind->steps[i].meaning, describe_step(outcome, i));
    if (outcome.report != nullptr)
        append_way(&text, *outcome.report);
    append_figures(&text, outcome);
    if (outcome.report != nullptr)
        text += chart_row(outcome.report->samples, columns, isUtf8);
    return text;
}

std::string describe_progress(const SRecordKind& kind, const SRecord& record, int64_t quietSeconds,
                              size_t columns) {
    const std::string phase = current_phase(kind, record);
    const std::string time = std::to_string(quietSeconds) + " s";
    if (record.trtime == 0) {
        const std::string waited = quietSeconds > 0 ? ": " + time : "";
        return first_fitting({phase + waited, kind.title + waited, time}, columns);
    }
    std::string speed;
    append_prefixed(&speed, to_bits(record.curspeed), " ");
    speed += "bit/s";
    if (quietSeconds >= still_seconds)
        speed = "nothing for " + time;
    const std::string still = quietSeconds >= still_seconds ? ", " + speed : "";
    return first_fitting({phase + ": " + describe_transfer(record, false) + still,
                          phase + " " + describe_transfer(record, true) + still,
                          describe_transfer(record, true) + still, phase + ": " + speed, speed},
                         columns);
}
