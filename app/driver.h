// The program driver: settings from the command line, and the run of the chosen test.
#pragma once

#include <optional>

#include "ftptest/cnettest_ftpbase.h"
#include "httptest/cnettest_httpbase.h"
#include "measure/record.h"
#include "netbase/support/textvalue.h"

/// The two test objects of a run; null outside of it.
extern CNetTest_FtpBase* g_ftpBase;
extern CNetTest_HttpBase* g_httpBase;

/// Clears both settings records and writes the defaults.
void set_test_defaults(SFtpBaseConfig* ftp, SHttpBaseConfig* http);

/// Reads the command line into the settings and g_dns_addr. Every argument is looked at, values of
/// options included; the first option text that occurs anywhere in it decides, and its value is the
/// next argument. Texts are cut to their fields. Returns true when the HTTP test is chosen.
bool read_options(int argc, const char* const* argv, SFtpBaseConfig* ftp, SHttpBaseConfig* http);

/// The same, printing the arguments.
bool scan_options(int argc, const char* const* argv, SFtpBaseConfig* ftp, SHttpBaseConfig* http);

/// The record that a run with this command line keeps; null when it would keep none.
const SRecordKind* find_run_record(int argc, const char* const* argv);

/// Moves the values of "-pw" to the heap and overwrites them where they lay, so that the process
/// list does not show them. `argv` points to the copies then. Call it first. Without memory for a
/// copy the value stays.
void hide_passwords(int argc, char** argv);

/// Has the test objects run the test that the command line asks for.
void run_chosen_test(int argc, const char* const* argv);

/// Makes the test objects, of classes derived from the two, runs the test that the command line
/// asks for, and destroys them. The outcome is in the test's result record; the result is always 0.
template <typename FtpTest = CNetTest_FtpBase, typename HttpTest = CNetTest_HttpBase>
int run_net_test(int argc, const char* const* argv) {
    ka_copy_text(g_dns_addr, "");
    std::optional<FtpTest> ftp(std::in_place, 0, 0U);
    g_ftpBase = &*ftp;
    std::optional<HttpTest> http(std::in_place, 0, 0U);
    g_httpBase = &*http;
    run_chosen_test(argc, argv);
    ftp.reset();
    http.reset();
    g_ftpBase = nullptr;
    g_httpBase = nullptr;
    return 0;
}
