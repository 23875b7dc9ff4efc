// The exit flag of the process.
#pragma once

/// Raised by CNetBase::exitExec and never lowered. Every wait loop of the tests, of the DNS client,
/// of ARP and of neighbour discovery polls it and ends once it is raised, when the wait in progress
/// returns.
extern bool g_bNetAppExitFlag;
