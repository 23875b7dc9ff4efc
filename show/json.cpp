#include "show/json.h"

#include <cinttypes>
#include <ctime>
#include <string_view>

#include "measure/record.h"
#include "netbase/support/textvalue.h"
#include "show/text.h"

namespace {

constexpr int format_version = 1;

/// A string, whatever its bytes are: those that are no printable UTF-8 become escapes.
std::string quote(std::string_view text) {
    std::string quoted = "\"";
    while (!text.empty()) {
        const std::string_view next = ka_printable_char(text);
        if (next.empty() || next == "\"" || next == "\\")
            append(&quoted, "\\u%04x",
                   static_cast<unsigned int>(static_cast<unsigned char>(text[0])));
        else
            quoted += next;
        text.remove_prefix(next.empty() ? 1 : next.size());
    }
    return quoted + "\"";
}

std::string quote_or_null(const std::string& text) {
    return text.empty() ? "null" : quote(text);
}

std::string number_or_null(int64_t value, bool isKnown) {
    return isKnown ? std::to_string(value) : "null";
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

void append_record(std::string* text, const SOutcome& outcome) {
    const SRecord& record = outcome.record;
    *text += "\"phases\": {";
    for (size_t i = 0; i < outcome.kind->stepCount; ++i)
        append(text, "%s\"%s\": \"%s\"", i > 0 ? ", " : "", outcome.kind->steps[i].key,
               step_text(record.steps[i]));
    *text += "}";
    for (const SRecordFigure& figure : record_figures) {
        const bool is_known = figure.unit != EFigure::speed || !record.isUnsampled();
        append(text, ", \"%s_%s\": %s", figure.key, unit_name(figure.unit),
               number_or_null(record.*figure.value, is_known).c_str());
    }
    *text += ", \"overall_bytes_per_second\": " +
             number_or_null(record.overallSpeed(), record.trtime > 0);
}

std::string list_redirects(const STestReport& report) {
    std::string text;
    for (const std::string& url : report.redirects)
        text += (text.empty() ? "" : ", ") + quote(url);
    return "[" + text + "]";
}

std::string list_times(const STestFacts& facts) {
    std::string text;
    for (size_t i = 0; i < phase_times.size(); ++i)
        append(&text, "%s\"%s\": %s", i > 0 ? ", " : "", phase_times[i].key,
               number_or_null(facts.phaseMsecs[i], facts.phaseMsecs[i] >= 0).c_str());
    return "{" + text + "}";
}

std::string list_samples(const STestReport& report) {
    std::string text;
    for (const SSample& sample : report.samples)
        append(&text,
               "%s{\"ms\": %" PRId64 ", \"bytes\": %" PRId64 ", \"bytes_per_second\": %" PRId64 "}",
               text.empty() ? "" : ", ", sample.msecs, sample.bytes, sample.speed);
    return "[" + text + "]";
}

/// The address and port of a URL's form, with an IPv6 address in brackets.
std::string server_text(const STestFacts& facts) {
    const std::string host = facts.host;
    if (host.empty())
        return "";
    const bool is_inet6 = host.find(':') != std::string::npos;
    return (is_inet6 ? "[" + host + "]" : host) + ":" + std::to_string(facts.port);
}

/// In the form of RFC 3339, UTC.
std::string time_text(int64_t seconds) {
    const auto time = static_cast<time_t>(seconds);
    tm parts{};
    char text[32] = "";
    if (gmtime_r(&time, &parts) != nullptr)
        strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

}  // namespace

std::string outcome_to_json(const SOutcome& outcome) {
    const STestReport none;
    const bool is_run = outcome.report != nullptr;
    const STestReport& report = is_run ? *outcome.report : none;
    std::string text;
    append(&text, "{\"format\": %d, \"test\": \"%s\", \"verdict\": \"%s\", ", format_version,
           outcome.kind->name, outcome.verdictText());
    text += "\"reason\": " + quote_or_null(outcome.reason()) + ", ";
    append_record(&text, outcome);
    text += ", \"server\": " + quote_or_null(server_text(report.facts));
    text += ", \"http_status\": " +
            number_or_null(report.facts.httpStatus, report.facts.httpStatus > 0);
    text += ", \"http_reason\": " + quote_or_null(report.facts.httpReason);
    text += ", \"redirects\": " + list_redirects(report);
    text += ", \"times_ms\": " + list_times(report.facts);
    text += ", \"samples\": " + list_samples(report);
    text += ", \"started\": " + quote_or_null(is_run ? time_text(report.started) : "");
    text += ", \"duration_ms\": " + number_or_null(report.durationMsecs, is_run);
    return text + "}\n";
}
