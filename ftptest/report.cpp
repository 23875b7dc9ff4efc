// The FTP test's result records.
#include <cinttypes>

#include "ftptest/cnettest_ftpbase.h"
#include "ftptest/ftprecord.h"
#include "measure/netstep.h"
#include "netbase/support/traces.h"

namespace {

// In the order in which they are reported below. Readers depend on the comma.
constexpr std::array<SRecordStep, record_steps_max> ftp_steps = {
    {{"step_prepare", ':', "name resolution"},
     {"ctrlconn_step", ':', "control connection"},
     {"ctrlauth_step", ':', "login and data mode"},
     {"ctrlput_step", ',', "transfer command"},
     {"dataconn_step", ':', "data connection"},
     {"datatran_step", ':', "data transfer"}}};

}  // namespace

const SRecordKind ftp_get_record = {"get", "FTP download", "/tmp/ftpgetrst", ftp_steps, 6};
const SRecordKind ftp_put_record = {"put", "FTP upload", "/tmp/ftpputrst", ftp_steps, 6};

int CNetTest_FtpBase::reportFtpTestResult(bool bInProgress) {
    const bool get = m_stFtpBaseConfig.do_get != 0;
    if (!get && m_stFtpBaseConfig.do_put == 0)
        return 0;
    const SRecordKind& kind = get ? ftp_get_record : ftp_put_record;
    CRecordFile file(kind.path);

    SRecord record =
        makeRecord({m_eStepPrepare, m_eStepCtrlConn, m_eStepCtrlAuth, m_eStepCtrlPut,
                    m_eStepDataConn, m_eStepDataTran},
                   m_tvCtrlConnStart, m_tvCtrlConnEnd, get ? m_iDataRecvSize : m_iDataSendSize);
    if (!bInProgress && record.verdict == MEAS_STEP_INPROGRESS)
        record.verdict = MEAS_STEP_FAIL;
    if (get) {
        printf("srv_resp is %" PRId64 ",data_size is %" PRId64 "\n", record.contime,
               record.totdata);
        printf("data_time is %" PRId64 "\n", record.trtime);
    }
    file.write(ka_format_record(kind, record));
    ka_bring_out_traces();
    return 0;
}
