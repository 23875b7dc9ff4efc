// net-test-show: shows a result record of net-test, or runs a test and shows how it went, with an
// exit status that says so.
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "app/driver.h"
#include "app/process.h"
#include "measure/record.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/wait.h"
#include "show/chart.h"
#include "show/description.h"
#include "show/json.h"
#include "show/liveline.h"
#include "show/recordfile.h"
#include "show/recordkinds.h"
#include "show/request.h"
#include "show/testrun.h"

namespace {

constexpr int status_passed = 0;
constexpr int status_failed = 1;
constexpr int status_running = 2;
constexpr int status_no_record = 3;
constexpr int status_usage = 64;
constexpr int status_no_run = 70;
constexpr int status_no_output = 74;

constexpr char usage[] =
    "Usage: net-test-show --run [--json] [--follow] [--seconds N] [--fail] [--chart FILE]\n"
    "                     [--traces FILE] -- ARGUMENT...\n"
    "       net-test-show [--json] [--follow] get|put|http|FILE\n"
    "       net-test-show --help|--version\n";
constexpr char description[] =
    "Runs a test and shows how it went, or shows the result record of an FTP download, FTP\n"
    "upload or HTTP download that net-test has run, or the record in a file.\n"
    "\n"
    "  --run        run a test, with its progress on a terminal, then show its result\n"
    "  --follow     follow a running test on standard error, then show its result;\n"
    "               with --run: the progress as lines where there is no terminal\n"
    "  --seconds N  end the test after N seconds of transfer\n"
    "  --fail       an HTTP status of 400 and more is a failure\n"
    "  --chart F    write a picture of the speed over time to file F, in SVG\n"
    "  --traces F   write what net-test prints to file F; the password is among it\n"
    "  --json       show the result as a JSON object\n"
    "\n"
    "The arguments behind -- are those of net-test:\n"
    "\n"
    "  -m 0|1|2     FTP download, FTP upload, HTTP download\n"
    "  -dst WHERE   FTP server, by name or IPv4 address, or URL\n"
    "  -t 0|1|2     FTP data connection: passive, active, active where passive is refused\n"
    "  -us USER     FTP user name\n"
    "  -pw WORD     FTP password\n"
    "  -f FILE      path of the file on the FTP server\n"
    "  -size BYTES  bytes to upload\n"
    "  -dns SERVER  DNS server of the network library's own lookups, which the tests don't use\n"
    "\n"
    "Exit status: 0 passed, 1 failed, 2 still running or left unfinished, 3 no record or\n"
    "not a record, 64 wrong usage, 70 the test could not be started or broke off, 74 the\n"
    "output could not be written. A run that a signal ends ends by that signal.\n";

/// How often a test is looked at, and how long --follow waits for a record to appear.
constexpr timeval follow_pause = {0, 200000};
constexpr int run_pause_msecs = 200;
constexpr timeval follow_patience = {10, 0};

[[gnu::format(printf, 1, 2)]] void complain(const char* format, ...) {
    fputs("net-test-show: ", stderr);
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);  // NOLINT: va_start has set them up
    va_end(arguments);
    fputc('\n', stderr);
}

/// Follows the test to its end, or until no record has been there for a while.
bool follow_record(const char* path, SReading* reading, std::string* why) {
    CLiveLine line;
    CRecordWatch watch;
    CDeadline patience(follow_patience);
    timeval left;
    bool found = false;
    while ((found = read_record(path, reading, why))
               ? reading->record.isRunning() && !watch.isAbandoned(*reading, ka_now())
               : patience.timeLeft(&left)) {
        if (found) {
            patience = CDeadline(follow_patience);
            line.show(describe_progress(*reading->kind, reading->record, 0, line.columns()));
        }
        ka_wait(nullptr, 0, &follow_pause);
    }
    return found;
}

int print_text(const std::string& text) {
    if (fputs(text.c_str(), stdout) != EOF && fflush(stdout) == 0)
        return 0;
    complain("%s", std::strerror(errno));
    return status_no_output;
}

/// True when the terminal, or whatever reads the output, expects UTF-8.
bool expects_utf8() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* locale = std::getenv(name);
        if (locale != nullptr && *locale != '\0')
            return strcasestr(locale, "UTF-8") != nullptr || strcasestr(locale, "utf8") != nullptr;
    }
    return false;
}

int print_outcome(const SRequest& request, const SOutcome& outcome) {
    const size_t columns = terminal_columns(STDOUT_FILENO);
    const std::string text =
        request.json ? outcome_to_json(outcome)
                     : describe_outcome(outcome, columns > 0 ? columns : 80, expects_utf8());
    if (print_text(text) != 0)
        return status_no_output;
    switch (outcome.verdict()) {
        case SOutcome::EVerdict::passed:
            return status_passed;
        case SOutcome::EVerdict::failed:
            return status_failed;
        case SOutcome::EVerdict::ended:
            return outcome.record.totdata > 0 ? status_passed : status_failed;
        default:
            return status_running;
    }
}

/// Says why there is no record, and what to do.
void explain_no_record(const char* path, const SRecordKind* kind, const std::string& why) {
    const bool is_missing = access(path, F_OK) != 0;
    for (const SRecordKind* known : record_kinds) {
        if (kind == nullptr && is_missing && strcasecmp(path, known->name) == 0) {
            complain("\"%s\" is no record; do you mean %s?", path, known->name);
            return;
        }
    }
    if (kind != nullptr && is_missing)
        complain("no %s was run yet: %s does not exist", kind->title, path);
    else
        complain("%s: %s", path, why.c_str());
}

int show_record(const SRequest& request) {
    SReading reading;
    reading.kind = find_record_kind(request.path);
    const SRecordKind* kind = reading.kind;
    const char* path = kind != nullptr ? kind->path : request.path;
    std::string why;
    if (!(request.follow ? follow_record : read_record)(path, &reading, &why)) {
        explain_no_record(path, kind, why);
        return status_no_record;
    }
    SOutcome outcome(reading.kind, reading.record);
    outcome.isOver = reading.isOld();
    if (outcome.isOver)
        complain("%s: not rewritten for more than 10 minutes: the test ended early", path);
    return print_outcome(request, outcome);
}

/// Opens the traces' file and empties the record of an earlier test. False when that fails.
bool prepare_run(const SRequest& request, const SRecordKind& kind, CDescriptor* traces,
                 int* status) {
    if (request.traces != nullptr) {
        constexpr int mode = O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;
        *traces = CDescriptor(open(request.traces, mode, 0600));
        *status = status_no_output;
        if (!traces->isOpen()) {
            complain("%s: %s", request.traces, std::strerror(errno));
            return false;
        }
    }
    std::string why;
    *status = status_no_record;
    if (clear_record(kind.path, &why))
        return true;
    complain("%s of an earlier test can't be replaced: %s", kind.path, why.c_str());
    return false;
}

/// Shows the progress of a test until it ends.
void watch_run(const SRequest& request, const SRecordKind& kind, CTestRun* test) {
    CLiveLine line;
    int64_t shown_second = -1;
    const timeval start = ka_now();
    while (test->wait(run_pause_msecs)) {
        const int64_t second = ka_tv_diff(ka_now(), start).tv_sec;
        if (!line.isTerminal() && (!request.follow || second == shown_second))
            continue;
        shown_second = second;
        line.show(describe_progress(kind, test->record(), test->quietSeconds(), line.columns()));
    }
}

int write_chart(const SRequest& request, const SOutcome& outcome) {
    constexpr int mode = O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;
    CDescriptor descriptor(open(request.chart, mode, 0666));
    const CStream file(descriptor.isOpen() ? fdopen(descriptor.release(), "w") : nullptr);
    std::string title = outcome.kind->title;
    if (outcome.report->facts.host[0] != '\0')
        title += std::string(", ") + outcome.report->facts.host;
    const std::string svg = chart_picture(outcome.report->samples, title);
    if (file != nullptr && fputs(svg.c_str(), file.get()) != EOF && fflush(file.get()) == 0)
        return 0;
    complain("%s: %s", request.chart, std::strerror(errno));
    return status_no_output;
}

/// Shows the result of the run. Returns the exit status.
int show_run(const SRequest& request, const SRecordKind& kind, const CTestRun& test) {
    const std::string failure = test.failure();
    if (!failure.empty())
        complain("the test %s", failure.c_str());
    if (!test.isRecordKnown())
        return status_no_run;
    SOutcome outcome(&kind, test.record());
    outcome.isOver = true;
    outcome.report = &test.report();
    outcome.isRefused = request.fail && test.report().facts.httpStatus >= 400;
    if (test.interruptedBy() != 0)
        outcome.ended = "ended by signal " + std::to_string(test.interruptedBy()) + " (" +
                        strsignal(test.interruptedBy()) + ")";
    else if (test.report().facts.isTimeUp)
        outcome.ended = "ended after " + std::to_string(request.seconds) + " s, as asked";
    int status = print_outcome(request, outcome);
    if (request.chart != nullptr && write_chart(request, outcome) != 0)
        status = status_no_output;
    if (test.tracesError() != 0) {
        complain("%s: %s", request.traces, std::strerror(test.tracesError()));
        status = status_no_output;
    }
    return failure.empty() ? status : status_no_run;
}

int run_test(const SRequest& request) {
    const SRecordKind* kind = find_run_record(request.argumentCount, request.arguments);
    if (kind == nullptr) {
        complain("which test? One of -m 0, -m 1 and -m 2 is missing behind --");
        return status_usage;
    }
    CDescriptor traces(-1);
    int status = 0;
    if (!prepare_run(request, *kind, &traces, &status))
        return status;
    int interrupted_by = 0;
    {
        CTestRun test;
        std::string why;
        if (!test.start(request.argumentCount, request.arguments, request.seconds, traces.get(),
                        &why)) {
            complain("the test can't be started: %s", why.c_str());
            return status_no_run;
        }
        watch_run(request, *kind, &test);
        status = show_run(request, *kind, test);
        interrupted_by = test.interruptedBy();
    }
    if (interrupted_by != 0) {
        sigset_t own;
        sigemptyset(&own);
        sigaddset(&own, interrupted_by);
        sigprocmask(SIG_UNBLOCK, &own, nullptr);
        raise(interrupted_by);
    }
    return status;
}

/// The help or the version, if the command line asks for it; else empty.
std::string text_about(int argc, char** argv) {
    for (int i = 1; i < argc && argv[i] != std::string_view("--"); ++i) {
        const std::string_view argument(argv[i]);
        if (argument == "--help" || argument == "-h")
            return std::string(usage) + "\n" + description;
        if (argument == "--version")
            return "net-test-show " NET_TEST_VERSION "\n";
    }
    return "";
}

void end_without_memory() {
    constexpr char text[] = "net-test-show: not enough memory\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, sizeof(text) - 1);
    _exit(status_no_run);
}

}  // namespace

int main(int argc, char** argv) {
    std::set_new_handler(end_without_memory);
    fill_standard_descriptors();
    disarm_write_signals();
    hide_passwords(argc, argv);
    const std::string about = text_about(argc, argv);
    if (!about.empty())
        return print_text(about);
    SRequest request;
    const std::string wrong = parse_request(argc, argv, &request);
    if (!wrong.empty()) {
        complain("%s", wrong.c_str());
        fputs(usage, stderr);
        return status_usage;
    }
    return request.run ? run_test(request) : show_record(request);
}
