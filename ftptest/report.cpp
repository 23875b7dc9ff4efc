// The FTP test's result record.
#include <cinttypes>

#include "ftptest/cnettest_ftpbase.h"
#include "ftptest/ftprecord.h"
#include "netbase/netstep.h"
#include "netbase/traces.h"

int CNetTest_FtpBase::reportFtpTestResult(bool bInProgress) {
    const bool get = m_stFtpBaseConfig.do_get != 0;
    if (!get && m_stFtpBaseConfig.do_put == 0)
        return 0;
    CRecordFile file(get ? ftp_get_record_path : ftp_put_record_path);

    int overall = ka_overall_step({m_eStepPrepare, m_eStepCtrlConn, m_eStepCtrlAuth, m_eStepCtrlPut,
                                   m_eStepDataConn, m_eStepDataTran});
    if (!bInProgress && overall == MEAS_STEP_INPROGRESS)
        overall = MEAS_STEP_FAIL;
    const int64_t contime = ka_tv_span_msecs(m_tvCtrlConnStart, m_tvCtrlConnEnd);
    const int64_t trtime = ka_tv_span_msecs(m_tvTranStart, m_tvTranEnd);
    if (get) {
        printf("srv_resp is %" PRId64 ",data_size is %" PRId64 "\n", contime, m_iDataRecvSize);
        printf("data_time is %" PRId64 "\n", trtime);
    }

    const std::array<int64_t, ftp_record_fields.size()> values = {
        overall,
        eNetStep2eMeasStep(m_eStepPrepare),
        eNetStep2eMeasStep(m_eStepCtrlConn),
        eNetStep2eMeasStep(m_eStepCtrlAuth),
        eNetStep2eMeasStep(m_eStepCtrlPut),
        eNetStep2eMeasStep(m_eStepDataConn),
        eNetStep2eMeasStep(m_eStepDataTran),
        contime,
        trtime,
        get ? m_iDataRecvSize : m_iDataSendSize,
        m_iCurSpeed,
        m_iMinSpeed,
        m_iMaxSpeed,
        m_iAvgSpeed,
    };
    file.write(ka_format_record(ftp_record_fields.data(), values.data(), values.size()));
    ka_bring_out_traces();
    return 0;
}
