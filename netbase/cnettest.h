// CNetTest, the interface that every throughput test implements.
#pragma once

#include "netbase/cnetbase.h"

class CNetTest : public CNetBase {
  public:
    /// Names the process "net-test".
    CNetTest(int port, unsigned int flags);

    // Virtual operations; their order is part of the interface.

    ~CNetTest() override;
    int init() override;
    /// Does nothing here and returns 0.
    virtual int applyTestSetting(const void* setting, int size);
    /// Do nothing here and return 0.
    virtual int startTest();
    virtual int stopTest();
    /// Turns a host name or dotted address into an address by the platform's resolver, tracing on
    /// standard output. The outputs may be null; the times are those just before and after a
    /// look-up. They stay {0,0} for an address literal and on failure, which leaves the address
    /// 0.0.0.0. An address of 0.0.0.0 is a failure.
    virtual int resolveIn4Addr(const char* host, in_addr* addr, timeval* tvStart, timeval* tvEnd);
    /// The same for IPv6, by getHostAddr and printing nothing of its own.
    virtual int resolveIn6Addr(const char* host, in6_addr* addr, timeval* tvStart, timeval* tvEnd);
};
