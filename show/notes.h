// Notes on what net-test does differently from what its arguments suggest.
#pragma once

#include <string>
#include <vector>

/// On a run with these arguments of net-test: each note is a line.
std::vector<std::string> notes_on_arguments(int argc, const char* const* argv);

/// On the target of a redirect.
std::vector<std::string> notes_on_redirect(const std::string& url);
