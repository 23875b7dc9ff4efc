// The counters, speeds and times of a timed transfer, and the sampler that computes the speeds.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <initializer_list>

#include "measure/record.h"
#include "netbase/nettypes.h"

/// One speed sample, as the sampler took it.
struct SSpeedSample {
    bool first;          ///< the first sample of the transfer
    int64_t bytes;       ///< bytes moved since the previous sample
    int64_t msecs;       ///< milliseconds since the previous sample
    int64_t totalMsecs;  ///< milliseconds since the transfer's start
};

/// Bytes over a time, per second: 0 when the time is 0 or less, saturating where the product with
/// 1000 does not fit 64 bits.
int64_t ka_bytes_per_second(int64_t bytes, int64_t msecs);

/// What both throughput tests measure of their transfer. It is part of their session record and
/// starts from all zero at every session reset. Sizes are bytes, speeds bytes per second.
class CTransferStat {
  public:
    int64_t m_iDataSendSize = 0;  ///< data bytes sent
    int64_t m_iDataRecvSize = 0;  ///< data bytes received
    int64_t m_iLastSendSize = 0;  ///< bytes sent at the previous statistics call
    int64_t m_iLastRecvSize = 0;  ///< bytes received at the previous statistics call
    int64_t m_iMinSpeed = 0;      ///< lowest sampled speed
    int64_t m_iMaxSpeed = 0;      ///< highest sampled speed
    int64_t m_iCurSpeed = 0;      ///< latest sampled speed
    int64_t m_iAvgSpeed = 0;      ///< average speed since the transfer's start
    timeval m_tvTranStart{};      ///< start of the data transfer
    timeval m_tvTranEnd{};        ///< time of the last data step
    timeval m_tvLastStat{};       ///< time of the last statistics call

    /// Seconds * 1000000 + microseconds; null gives 0. Saturates at the limits of int, that is
    /// beyond some 35 minutes; ka_tv_msecs has no such limit.
    static int timeval2usecs(const timeval* tv);
    /// timeval2usecs / 1000, truncated toward zero.
    static int timeval2msecs(const timeval* tv);
    /// The measurement step code of a step (see measure/netstep.h).
    static int eNetStep2eMeasStep(enet_step_type step);

  protected:
    /// Begins the timed part at `start`: the first sample will span the time from there.
    void startTransfer(const timeval& start);

    /// True when a sample is due at `now`: the whole seconds since the transfer's start differ from
    /// those at the last statistics call.
    bool isSampleDue(const timeval& now) const;

    /// The time of a sample: `*now`, or the clock when that is null or {0,0}.
    static timeval sampleTime(const timeval* now);

    /// Takes a speed sample at `t`: updates the four speeds and fills `sample`. The bytes counted
    /// are those received with `get`, those sent with `put` (which wins), else 0. False, and
    /// nothing changed, when no time has passed since the previous statistics call or there was
    /// none. A time below one millisecond counts with a speed of 0.
    bool takeSample(const timeval& t, bool get, bool put, SSpeedSample* sample);

    /// The record of a test as it stands: its steps, in the order of the record's fields, the
    /// verdict over them, and what the transfer has come to.
    SRecord makeRecord(std::initializer_list<enet_step_type> steps, const timeval& connStart,
                       const timeval& connEnd, int64_t bytes) const;

    /// Ends a statistics call at `t`: the next sample starts from here.
    void closeSample(const timeval& t, bool get, bool put);
};
