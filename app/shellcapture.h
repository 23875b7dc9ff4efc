// Output of shell commands, and the peer of a PPP link.
#pragma once

#include <cstddef>

/// Bytes of the buffer that executeCMD fills.
constexpr size_t capture_size = 10240;

/// Runs a shell command and appends what it writes to standard output to the text in `out`, a
/// buffer of 10240 bytes that the caller has cleared. The text is cut to what the buffer holds.
/// Waits for the end of the command. One that writes more is ended by SIGPIPE; where the caller
/// ignores that signal the command inherits this, and one that also ignores the failure of its
/// writes, as a loop of the shell does, goes on for ever. When the command can't be started a line
/// is printed and `out` is unchanged.
void executeCMD(const char* cmd, char* out);

/// Takes the peer address of a PPP link ("P-t-P:") out of what "ifconfig" prints into g_dns_addr,
/// at most 63 characters of it, and prints it. Without such a link g_dns_addr keeps its value.
void get_dns_addr();
