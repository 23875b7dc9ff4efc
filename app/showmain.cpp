// net-test-show: shows a result record of net-test, with an exit status that says how it stands.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "app/recordview.h"
#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/wait.h"

namespace {

constexpr int status_passed = 0;
constexpr int status_failed = 1;
constexpr int status_running = 2;
constexpr int status_no_record = 3;
constexpr int status_usage = 64;
constexpr int status_no_output = 74;

constexpr char usage[] =
    "Usage: net-test-show [--json] [--follow] get|put|http|FILE\n"
    "Shows the result record of an FTP download, FTP upload or HTTP download of net-test,\n"
    "or the record in a file.\n"
    "\n"
    "  --json    as a JSON object, the units in the names of its keys\n"
    "  --follow  follow a running test on standard error, then show its result;\n"
    "            the record of an earlier test counts: remove it first\n"
    "  --help    this text\n"
    "\n"
    "Exit status: 0 passed, 1 failed, 2 still running, 3 no record or not a record,\n"
    "64 wrong usage, 74 the output could not be written.\n";

/// A reader may meet the file just emptied, so it looks again.
constexpr int empty_retries = 10;
constexpr timeval retry_pause = {0, 20000};

/// How often --follow looks, and how long it waits for a record to appear.
constexpr timeval follow_pause = {0, 200000};
constexpr timeval follow_patience = {10, 0};

struct SRequest {
    const SRecordKind* kind = nullptr;  ///< null: found out from the content
    const char* path = nullptr;
    bool json = false;
    bool follow = false;
};

void pause_for(const timeval& time) {
    ka_wait(nullptr, 0, &time);
}

/// Reads the file's bytes, which for a record are few; false with `why` when it can't be read.
bool read_file(const char* path, std::string* bytes, std::string* why) {
    const CDescriptor file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    char buffer[record_text_size + 1];
    const ssize_t count = file.isOpen() ? read(file.get(), buffer, sizeof(buffer)) : -1;
    if (count < 0)
        *why = std::strerror(errno);
    bytes->assign(buffer, count > 0 ? static_cast<size_t>(count) : 0);
    return count >= 0;
}

/// Reads the record; its kind, if it was not known, becomes what it looks like.
bool read_record(SRequest* request, SRecord* record, std::string* why) {
    std::string bytes;
    for (int i = 0; bytes.empty() && i < empty_retries; ++i) {
        if (i > 0)
            pause_for(retry_pause);
        if (!read_file(request->path, &bytes, why))
            return false;
    }
    if (bytes.empty()) {
        *why = "not run yet";
        return false;
    }
    if (request->kind == nullptr)
        request->kind = &guess_record_kind(bytes);
    if (ka_parse_record(bytes, *request->kind, record, why))
        return true;
    *why = "not a record: " + *why;
    return false;
}

/// Follows the test to its end, or until no record has been there for a while.
bool follow_record(SRequest* request, SRecord* record, std::string* why) {
    CDeadline patience(follow_patience);
    timeval left;
    std::string shown;
    size_t width = 0;
    bool found = false;
    while ((found = read_record(request, record, why)) ? record->isRunning()
                                                       : patience.timeLeft(&left)) {
        if (found) {
            patience = CDeadline(follow_patience);
            const std::string line = describe_progress(*request->kind, *record);
            width = std::max(width, line.size());
            if (line != shown)
                fprintf(stderr, "\r%-*s", static_cast<int>(width), line.c_str());
            shown = line;
        }
        pause_for(follow_pause);
    }
    if (width > 0)
        fprintf(stderr, "\r%*s\r", static_cast<int>(width), "");
    return found;
}

bool asks_for_help(int argc, char** argv) {
    return std::any_of(argv, argv + argc, [](const char* argument) {
        return argument == std::string_view("--help") || argument == std::string_view("-h");
    });
}

/// Takes the command line; false when it is wrong.
bool parse_arguments(int argc, char** argv, SRequest* request) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument(argv[i]);
        if (argument == "--json")
            request->json = true;
        else if (argument == "--follow")
            request->follow = true;
        else if (request->path != nullptr || argument.empty() || argument.front() == '-')
            return false;
        else
            request->path = argv[i];
    }
    if (request->path == nullptr)
        return false;
    request->kind = find_record_kind(request->path);
    if (request->kind != nullptr)
        request->path = request->kind->path;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    SRequest request;
    if (asks_for_help(argc, argv)) {
        fputs(usage, stdout);
        return 0;
    }
    if (!parse_arguments(argc, argv, &request)) {
        fputs(usage, stderr);
        return status_usage;
    }
    SRecord record{};
    std::string why;
    if (!(request.follow ? follow_record : read_record)(&request, &record, &why)) {
        fprintf(stderr, "net-test-show: %s: %s\n", request.path, why.c_str());
        return status_no_record;
    }
    const std::string text = request.json ? record_to_json(*request.kind, record)
                                          : describe_record(*request.kind, record);
    if (fputs(text.c_str(), stdout) == EOF || fflush(stdout) != 0) {
        fprintf(stderr, "net-test-show: %s\n", std::strerror(errno));
        return status_no_output;
    }
    if (record.isRunning())
        return status_running;
    return record.hasPassed() ? status_passed : status_failed;
}
