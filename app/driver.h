// The program driver: settings from the command line, and the run of the chosen test.
#pragma once

#include "ftptest/cnettest_ftpbase.h"
#include "httptest/cnettest_httpbase.h"

/// The two test objects of a run; null outside of it.
extern CNetTest_FtpBase* g_ftpBase;
extern CNetTest_HttpBase* g_httpBase;

/// Clears both settings records and writes the defaults.
void set_test_defaults(SFtpBaseConfig* ftp, SHttpBaseConfig* http);

/// Reads the command line into the settings and g_dns_addr. Every argument is looked at, values of
/// options included; the first option text that occurs anywhere in it decides, and its value is the
/// next argument. Texts are cut to their fields. Returns true when the HTTP test is chosen.
bool scan_options(int argc, const char* const* argv, SFtpBaseConfig* ftp, SHttpBaseConfig* http);

/// Runs the test that the command line asks for. The outcome is in the test's result record; the
/// result is always 0.
int run_net_test(int argc, const char* const* argv);
