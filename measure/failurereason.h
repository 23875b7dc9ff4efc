// Why a test failed, in words for people.
#pragma once

#include "netbase/port/sockaddr.h"

/// A part of both session records; every session reset clears it.
class CFailureReason {
  public:
    /// One line of printable UTF-8, such as "connection refused by 192.0.2.7 port 80". Empty while
    /// nothing has failed, and when the exit flag has ended the test.
    char m_szReason[256] = "";

  protected:
    /// Sets it, as printf does; what is not printable is replaced.
    [[gnu::format(printf, 2, 3)]] void setReason(const char* format, ...);

    /// Sets it to a name that does not resolve.
    void setLookupReason(const char* host);

    /// Sets it to why a connection to `server` failed, which errno tells; `timeout` is what it was
    /// given, microseconds.
    void setConnectReason(const CSockAddr& server, int timeout);
};
