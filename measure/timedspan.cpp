#include "measure/timedspan.h"

#include "netbase/support/clock.h"

CTimedSpan* CTimedSpan::s_current = nullptr;

CTimedSpan::CTimedSpan(int percent) : m_outer(s_current), m_percent(percent), m_start(ka_now()) {
    s_current = this;
}

CTimedSpan::~CTimedSpan() {
    s_current = m_outer;
}

int64_t CTimedSpan::allowance() const {
    return ka_tv_msecs(ka_tv_diff(ka_now(), m_start)) * m_percent / 100 - m_spent;
}
