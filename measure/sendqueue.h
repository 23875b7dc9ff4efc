// The kernel's send queue during an upload.
#pragma once

#include <cstdint>

/// Keeps the send queue of a TCP socket short, so that the bytes handed over are nearly the bytes
/// sent, without making a fast sender wait for it: the mark follows what the kernel delivers. Only
/// what is not on its way yet counts. Where the kernel knows no rate nothing is changed.
class CSendQueue {
  public:
    /// Nothing is limited yet: the peer may answer before it has read much of what comes first.
    /// One send waits at most a fifth of a second, and gives what was taken by then.
    explicit CSendQueue(int sock);

    /// Sets the mark anew from the rate of late.
    void follow();

  protected:
    int m_sock;
    uint32_t m_mark = UINT32_MAX;  ///< bytes
};
