#include "show/request.h"

#include <climits>
#include <string_view>

#include "netbase/support/textvalue.h"

namespace {

struct SFlag {
    const char* name;
    bool SRequest::*value;
};

constexpr SFlag flags[] = {{"--json", &SRequest::json},
                           {"--follow", &SRequest::follow},
                           {"--fail", &SRequest::fail},
                           {"--run", &SRequest::run}};

bool take_flag(std::string_view argument, SRequest* request) {
    for (const SFlag& flag : flags) {
        if (argument == flag.name) {
            request->*flag.value = true;
            return true;
        }
    }
    return false;
}

/// Takes an option and its value; false when it is no such option.
bool take_value(std::string_view argument, const char* value, SRequest* request,
                std::string* wrong) {
    if (argument != "--traces" && argument != "--chart" && argument != "--seconds")
        return false;
    if (value == nullptr)
        *wrong = "a value must follow";
    else if (argument == "--traces")
        request->traces = value;
    else if (argument == "--chart")
        request->chart = value;
    else if ((request->seconds = ka_text_to_int(value)) < 1 ||
             std::to_string(request->seconds) != value)
        *wrong = std::string("\"") + value + "\" is no number of seconds";
    return true;
}

std::string take_record(const char* argument, SRequest* request) {
    if (*argument == '-' && argument[1] != '-')
        return "arguments of net-test go behind --, as in: net-test-show --run -- -m 2 -dst URL";
    if (*argument == '-' || *argument == '\0')
        return "there is no such option";
    if (request->path[0] != '\0')
        return "one record is enough";
    request->path = argument;
    return "";
}

/// What is wrong with the whole of the arguments.
std::string judge(const SRequest& request) {
    if (request.run && request.path[0] != '\0')
        return std::string(request.path) + ": --run finds its record itself";
    if (request.run)
        return request.arguments == nullptr ? "the arguments of net-test are missing, as in: "
                                              "net-test-show --run -- -m 2 -dst URL"
                                            : "";
    if (request.arguments != nullptr || request.traces != nullptr || request.chart != nullptr ||
        request.seconds != 0 || request.fail)
        return "--traces, --chart, --seconds, --fail and -- go with --run";
    return request.path[0] == '\0' ? "which record? Name get, put, http or a file" : "";
}

}  // namespace

std::string parse_request(int argc, char** argv, SRequest* request) {
    for (int i = 1; i < argc; ++i) {
        if (argv[i] == std::string_view("--")) {
            request->arguments = argv + i;
            request->argumentCount = argc - i;
            break;
        }
        if (take_flag(argv[i], request))
            continue;
        const std::string_view argument(argv[i]);
        std::string wrong;
        if (take_value(argument, argv[i + 1], request, &wrong))
            ++i;
        else
            wrong = take_record(argv[i], request);
        if (!wrong.empty())
            return std::string(argument) + ": " + wrong;
    }
    return judge(*request);
}
