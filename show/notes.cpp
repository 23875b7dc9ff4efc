#include "show/notes.h"

#include <cstring>
#include <string_view>

#include "app/driver.h"
#include "httptest/requesttext.h"
#include "show/text.h"

namespace {

/// A scheme other than http is no reason to speak another protocol.
void note_scheme(std::string_view url, std::vector<std::string>* notes) {
    const SHttpUrl parts = http_split_url(url);
    if (parts.scheme.empty() || parts.scheme == "http")
        return;
    const std::string port(parts.port.empty() ? "80" : parts.port);
    notes->push_back(printable(parts.scheme) + ": fetched as plain HTTP, from port " +
                     printable(port));
}

}  // namespace

std::vector<std::string> notes_on_arguments(int argc, const char* const* argv) {
    std::vector<std::string> notes;
    SFtpBaseConfig ftp;
    SHttpBaseConfig http;
    set_test_defaults(&ftp, &http);
    if (!read_options(argc, argv, &ftp, &http))
        return notes;
    note_scheme(http.url, &notes);
    constexpr size_t url_max = sizeof(http.url) - 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strlen(argv[i]) > url_max && std::strncmp(argv[i], http.url, url_max) == 0)
            notes.push_back("the URL was cut to " + std::to_string(url_max) + " characters");
    }
    return notes;
}

std::vector<std::string> notes_on_redirect(const std::string& url) {
    std::vector<std::string> notes;
    const SHttpUrl parts = http_split_url(url);
    if (parts.host.empty())
        notes.push_back("a redirect without a host is not followed");
    else if (parts.scheme.empty())
        notes.push_back("redirect without a scheme: \"" + printable(parts.host) +
                        "\" is taken as its host");
    note_scheme(url, &notes);
    return notes;
}
