// The command line of net-test-show.
#pragma once

#include <string>

struct SRequest {
    const char* path = "";         ///< the record's file or the name of its test; empty: none
    const char* traces = nullptr;  ///< file for what the test prints
    const char* chart = nullptr;   ///< file for a picture
    int seconds = 0;               ///< of transfer; 0: no limit
    bool json = false;
    bool follow = false;
    bool fail = false;  ///< an HTTP status of 400 and more is a failure
    bool run = false;
    int argumentCount = 0;  ///< of net-test, its name (which is "--" here) included
    char** arguments = nullptr;
};

/// Takes the command line. Returns what is wrong with it, empty when nothing is.
std::string parse_request(int argc, char** argv, SRequest* request);
