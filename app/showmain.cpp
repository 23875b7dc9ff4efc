// net-test-show: shows a result record of net-test, or runs net-test first, with an exit status
// that says how the test stands.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "app/driver.h"
#include "app/liveline.h"
#include "app/process.h"
#include "app/recordreader.h"
#include "app/recordview.h"
#include "app/runtest.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/wait.h"

namespace {

constexpr int status_passed = 0;
constexpr int status_failed = 1;
constexpr int status_running = 2;
constexpr int status_no_record = 3;
constexpr int status_usage = 64;
constexpr int status_no_run = 70;
constexpr int status_no_output = 74;

constexpr char usage[] =
    "Usage: net-test-show [--json] [--follow] get|put|http|FILE\n"
    "       net-test-show --run [--json] [--traces FILE] -- ARGUMENT...\n"
    "       net-test-show --help|--version\n";
constexpr char description[] =
    "Shows the result record of an FTP download, FTP upload or HTTP download of net-test,\n"
    "or the record in a file; or runs net-test with its own arguments and shows how it went.\n"
    "\n"
    "  --run     run net-test, with its progress on a terminal, then show its result\n"
    "  --traces  keep what net-test prints in a file; the password is among it\n"
    "  --json    as a JSON object, the units in the names of its keys\n"
    "  --follow  follow a running test on standard error, then show its result;\n"
    "            the record of an earlier test counts: remove it first\n"
    "\n"
    "Exit status: 0 passed, 1 failed, 2 still running or left unfinished, 3 no record or\n"
    "not a record, 64 wrong usage, 70 net-test could not be started or broke off, 74 the\n"
    "output could not be written. A run that a signal ends ends by that signal.\n";

/// How often a test is looked at, and how long --follow waits for a record to appear.
constexpr timeval follow_pause = {0, 200000};
constexpr timespec run_pause = {0, 200000000};
constexpr timeval follow_patience = {10, 0};

struct SRequest {
    const char* path = "";  ///< the record's file or the name of its test; empty: none was named
    const char* traces = nullptr;
    bool json = false;
    bool follow = false;
    bool run = false;
    int argumentCount = 0;  ///< of net-test, its name (which is "--" here) included
    char** arguments = nullptr;
};

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
    CDeadline patience(follow_patience);
    timeval left;
    bool found = false;
    while ((found = read_record(path, reading, why))
               ? reading->record.isRunning() && !reading->isAbandoned()
               : patience.timeLeft(&left)) {
        if (found) {
            patience = CDeadline(follow_patience);
            line.show(describe_progress(*reading->kind, reading->record, line.columns()));
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

int print_record(const SRequest& request, const SReading& reading, bool ended) {
    const auto describe = request.json ? record_to_json : describe_record;
    if (print_text(describe(*reading.kind, reading.record, ended)) != 0)
        return status_no_output;
    if (reading.record.isRunning())
        return status_running;
    return reading.record.hasPassed() ? status_passed : status_failed;
}

int show_record(const SRequest& request) {
    SReading reading;
    reading.kind = find_record_kind(request.path);
    const char* path = reading.kind != nullptr ? reading.kind->path : request.path;
    std::string why;
    if (!(request.follow ? follow_record : read_record)(path, &reading, &why)) {
        complain("%s: %s", path, why.c_str());
        return status_no_record;
    }
    if (reading.isAbandoned())
        complain("%s: not rewritten for more than 10 minutes: the test ended early", path);
    return print_record(request, reading, reading.isAbandoned());
}

/// Runs net-test to its end, and reads its record as it goes on. False when it can't be started.
bool run_to_end(const SRequest& request, CTestProcess* test, SReading* reading, std::string* why) {
    const char* file = request.traces != nullptr ? request.traces : "/dev/null";
    const CDescriptor traces(open(file, O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_CLOEXEC, 0600));
    if (!traces.isOpen()) {
        *why = std::string(file) + ": " + std::strerror(errno);
        return false;
    }
    if (!test->start(request.arguments + 1, traces.get(), why)) {
        *why = "net-test can't be started: " + *why;
        return false;
    }
    hide_passwords(request.argumentCount, request.arguments);
    CLiveLine line;
    while (test->wait(run_pause)) {
        if (read_record(reading->kind->path, reading, why) && line.isTerminal())
            line.show(describe_progress(*reading->kind, reading->record, line.columns()));
    }
    return true;
}

int run_test(const SRequest& request) {
    SReading reading;
    reading.kind = find_run_record(request.argumentCount, request.arguments);
    if (reading.kind == nullptr) {
        complain("net-test takes no test from these arguments: -m 0, -m 1 or -m 2 is missing");
        return status_usage;
    }
    const char* path = reading.kind->path;
    std::string why;
    if (!clear_record(path, &why)) {
        complain("%s: %s: this test could not rewrite an earlier one's record", path, why.c_str());
        return status_no_record;
    }
    CTestProcess test;
    if (!run_to_end(request, &test, &reading, &why)) {
        complain("%s", why.c_str());
        return status_no_run;
    }
    const std::string failure = test.failure();
    if (test.interruptedBy() != 0)
        complain("interrupted; the record held:");
    else if (!failure.empty())
        complain("net-test %s; the record held:", failure.c_str());

    int status = status_no_record;
    // A test that was ended while it rewrote its record leaves an empty one.
    if (read_record(path, &reading, &why) || reading.written.tv_sec != 0)
        status = print_record(request, reading, true);
    else
        complain("no record, %s: %s", path, why.c_str());
    if (test.interruptedBy() != 0)
        raise(test.interruptedBy());
    return failure.empty() ? status : status_no_run;
}

/// What is wrong with an argument; empty when it was taken.
std::string take_argument(const char* argument, const char* next, SRequest* request) {
    const std::string_view text(argument);
    if (text == "--json")
        request->json = true;
    else if (text == "--follow")
        request->follow = true;
    else if (text == "--run")
        request->run = true;
    else if (text == "--traces" && next == nullptr)
        return "a file must follow";
    else if (text == "--traces")
        request->traces = next;
    else if (text.empty() || text.front() == '-')
        return "there is no such option";
    else if (request->path[0] != '\0')
        return "one record is enough";
    else
        request->path = argument;
    return "";
}

/// What is wrong with the whole of them; empty when nothing is.
std::string judge_request(const SRequest& request) {
    if (!request.run && request.arguments != nullptr)
        return "--: only --run takes arguments for net-test";
    if (!request.run && request.traces != nullptr)
        return "--traces: only --run has traces to keep";
    if (!request.run)
        return request.path[0] == '\0' ? "which record is missing" : "";
    if (request.path[0] != '\0' || request.follow)
        return "--run: it finds and follows its record itself";
    return request.arguments == nullptr ? "--run: the arguments of net-test are missing behind --"
                                        : "";
}

/// Takes the command line; false, said in words, when it is wrong.
bool parse_arguments(int argc, char** argv, SRequest* request) {
    std::string wrong;
    for (int i = 1; i < argc && wrong.empty() && request->arguments == nullptr; ++i) {
        if (argv[i] == std::string_view("--")) {
            request->arguments = argv + i;
            request->argumentCount = argc - i;
            continue;
        }
        wrong = take_argument(argv[i], argv[i + 1], request);
        if (!wrong.empty())
            wrong.insert(0, std::string(argv[i]) + ": ");
        if (request->traces == argv[i + 1])
            ++i;
    }
    if (wrong.empty())
        wrong = judge_request(*request);
    if (!wrong.empty())
        complain("%s", wrong.c_str());
    return wrong.empty();
}

/// What the command line asks for, if that is only a text.
std::string text_about(int argc, char** argv) {
    for (int i = 1; i < argc && argv[i] != std::string_view("--"); ++i) {
        const std::string_view argument(argv[i]);
        if (argument == "--help" || argument == "-h")
            return std::string(usage) + description;
        if (argument == "--version")
            return "net-test-show " NET_TEST_VERSION "\n";
    }
    return "";
}

}  // namespace

int main(int argc, char** argv) {
    fill_standard_descriptors();
    const std::string about = text_about(argc, argv);
    if (!about.empty())
        return print_text(about);
    SRequest request;
    if (!parse_arguments(argc, argv, &request)) {
        fputs(usage, stderr);
        return status_usage;
    }
    return request.run ? run_test(request) : show_record(request);
}
