// The receiving side of a transfer.
#pragma once

#include <sys/time.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include "measure/batchrule.h"
#include "netbase/support/wait.h"

/// Receives from a socket, to keep the bytes or only to count them. Bytes that are only counted are
/// discarded by the kernel (MSG_TRUNC, tcp(7)) instead of being copied, and may be received in
/// batches (SO_RCVLOWAT, socket(7)).
class CReceiver {
  public:
    enum class EUse { keep, count };

    /// The buffer stays the caller's. Where a kernel discards nothing, the bytes are stored in it.
    CReceiver(int sock, char* buffer, size_t size, EUse use);

    /// Another socket to look at while data are awaited.
    struct SWatch {
        int sock;
        bool mayWait;     ///< it need not be looked at while data flow
        bool isReadable;  ///< set by receive
    };

    /// Waits at most `timeout`, or until the other socket becomes readable, and receives once what
    /// has come, at most what the buffer holds. `*count` becomes the bytes received, 0 at the end
    /// of the data; or -1, with errno EAGAIN when none have come, and when the wait did not end
    /// with EWait::ready. `watch` may be null.
    EWait receive(const timeval& timeout, ssize_t* count, SWatch* watch);

    /// Sets the next batch from the rate of late: `received` bytes came until `now`, and `missing`
    /// are still to come (negative: not known), which no batch exceeds.
    void follow(ssize_t received, const timeval& now, int64_t missing);

  protected:
    EWait receiveBriefly(ssize_t* count);
    EWait waitAndTake(const timeval& timeout, ssize_t* count, SWatch* watch);
    ssize_t take(int flags);
    ssize_t takeOnTrial(int flags);
    void setMark(int mark);

    int m_sock;
    char* m_buffer;
    size_t m_size;
    enum class EDrop { untried, works, fails } m_drop;
    int m_mark = 1;            ///< bytes that wake the receiver
    bool m_isLimited = false;  ///< a receive that waits ends soon
    CBatchRule m_rule;
};
