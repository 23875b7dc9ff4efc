// The HTTP test's result record.
#include "httptest/cnettest_httpbase.h"
#include "httptest/httprecord.h"
#include "netbase/netstep.h"
#include "netbase/traces.h"

int CNetTest_HttpBase::reportHttpTestResult(bool /*interim*/) {
    CRecordFile file(http_record_path);
    const std::array<int64_t, http_record_fields.size()> values = {
        ka_overall_step({m_eStepPrepare, m_eStepConnect, m_eStepGetHead, m_eStepDownload}),
        eNetStep2eMeasStep(m_eStepPrepare),
        eNetStep2eMeasStep(m_eStepConnect),
        eNetStep2eMeasStep(m_eStepGetHead),
        eNetStep2eMeasStep(m_eStepDownload),
        ka_tv_span_msecs(m_tvConnStart, m_tvConnEnd),
        ka_tv_span_msecs(m_tvTranStart, m_tvTranEnd),
        m_iDataRecvSize,
        m_iCurSpeed,
        m_iMinSpeed,
        m_iMaxSpeed,
        m_iAvgSpeed,
    };
    file.write(ka_format_record(http_record_fields.data(), values.data(), values.size()));
    ka_bring_out_traces();
    return 0;
}
