// The kernel's send queue during an upload.
#pragma once

#include <cstdint>

/// Longest wait and longest send of a pass, microseconds: so an upload's samples come on time, and
/// the exit flag is seen.
constexpr int send_pass_usecs = 100000;

/// Keeps the send queue of a TCP socket short, so that the bytes handed over are nearly the bytes
/// sent, without making a fast sender wait for it: the mark follows what the kernel delivers. Only
/// what is not on its way yet counts. Where the kernel knows no rate nothing is changed.
class CSendQueue {
  public:
    /// Nothing is limited yet: the peer may answer before it has read much of what comes first.
    /// A send waits no longer than its part of a pass, and gives what was taken by then.
    explicit CSendQueue(int sock);

    /// Sets the mark anew from the rate of late.
    void follow();

  protected:
    int m_sock;
    uint32_t m_mark = UINT32_MAX;  ///< bytes
};
