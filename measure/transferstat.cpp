#include "measure/transferstat.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "measure/netstep.h"
#include "netbase/support/clock.h"

namespace {

bool same_time(const timeval& a, const timeval& b) {
    return !ka_tv_later(a, b) && !ka_tv_later(b, a);
}

}  // namespace

int64_t ka_bytes_per_second(int64_t bytes, int64_t msecs) {
    if (msecs <= 0)
        return 0;
    int64_t product = 0;
    if (__builtin_mul_overflow(bytes, int64_t{1000}, &product))
        product = INT64_MAX;
    return product / msecs;
}

int CTransferStat::timeval2usecs(const timeval* tv) {
    if (tv == nullptr)
        return 0;
    // Clamping the seconds first keeps the product in range.
    const int64_t secs = std::clamp<int64_t>(tv->tv_sec, INT_MIN, INT_MAX);
    return static_cast<int>(std::clamp<int64_t>(secs * 1000000 + tv->tv_usec, INT_MIN, INT_MAX));
}

int CTransferStat::timeval2msecs(const timeval* tv) {
    return timeval2usecs(tv) / 1000;
}

int CTransferStat::eNetStep2eMeasStep(enet_step_type step) {
    return ka_meas_step(step);
}

void CTransferStat::startTransfer(const timeval& start) {
    m_tvTranStart = start;
    m_tvLastStat = start;
}

bool CTransferStat::isSampleDue(const timeval& now) const {
    return ka_tv_diff(m_tvLastStat, m_tvTranStart).tv_sec != ka_tv_diff(now, m_tvTranStart).tv_sec;
}

timeval CTransferStat::sampleTime(const timeval* now) {
    return now != nullptr && ka_tv_isset(*now) ? *now : ka_now();
}

bool CTransferStat::takeSample(const timeval& t, bool get, bool put, SSpeedSample* sample) {
    const timeval interval =
        ka_tv_isset(m_tvLastStat) ? ka_tv_diff(t, m_tvLastStat) : timeval{0, 0};
    const timeval total = ka_tv_isset(m_tvTranStart) ? ka_tv_diff(t, m_tvTranStart) : timeval{0, 0};
    if (!ka_tv_isset(interval))
        return false;

    int64_t all_bytes = 0;
    sample->bytes = 0;
    if (put) {
        sample->bytes = m_iDataSendSize - m_iLastSendSize;
        all_bytes = m_iDataSendSize;
    } else if (get) {
        sample->bytes = m_iDataRecvSize - m_iLastRecvSize;
        all_bytes = m_iDataRecvSize;
    }
    sample->first = same_time(interval, total);
    sample->msecs = ka_tv_msecs(interval);
    sample->totalMsecs = ka_tv_msecs(total);

    m_iCurSpeed = ka_bytes_per_second(sample->bytes, sample->msecs);
    m_iAvgSpeed = ka_bytes_per_second(all_bytes, sample->totalMsecs);
    m_iMinSpeed = sample->first ? m_iCurSpeed : std::min(m_iMinSpeed, m_iCurSpeed);
    m_iMaxSpeed = sample->first ? m_iCurSpeed : std::max(m_iMaxSpeed, m_iCurSpeed);
    return true;
}

SRecord CTransferStat::makeRecord(std::initializer_list<enet_step_type> steps,
                                  const timeval& connStart, const timeval& connEnd,
                                  int64_t bytes) const {
    SRecord record;
    record.verdict = ka_overall_step(steps);
    std::transform(steps.begin(), steps.end(), record.steps.begin(), ka_meas_step);
    record.contime = ka_tv_span_msecs(connStart, connEnd);
    record.trtime = ka_tv_span_msecs(m_tvTranStart, m_tvTranEnd);
    record.totdata = bytes;
    record.curspeed = m_iCurSpeed;
    record.minspeed = m_iMinSpeed;
    record.maxspeed = m_iMaxSpeed;
    record.avgspeed = m_iAvgSpeed;
    return record;
}

void CTransferStat::closeSample(const timeval& t, bool get, bool put) {
    m_tvLastStat = t;
    if (get)
        m_iLastRecvSize = m_iDataRecvSize;
    if (put)
        m_iLastSendSize = m_iDataSendSize;
}
