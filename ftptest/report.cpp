// The FTP test's result records.
#include <cinttypes>
#include <initializer_list>

#include "ftptest/cnettest_ftpbase.h"
#include "ftptest/ftprecord.h"
#include "measure/netstep.h"
#include "measure/record.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/trace.h"

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

const SRecordKind* ftp_record_of(const SFtpBaseConfig& config) {
    if (config.do_get != 0)
        return &ftp_get_record;
    return config.do_put != 0 ? &ftp_put_record : nullptr;
}

SRecord CNetTest_FtpBase::currentRecord(bool bInProgress) const {
    SRecord record = makeRecord({m_eStepPrepare, m_eStepCtrlConn, m_eStepCtrlAuth, m_eStepCtrlPut,
                                 m_eStepDataConn, m_eStepDataTran},
                                m_tvCtrlConnStart, m_tvCtrlConnEnd,
                                m_stFtpBaseConfig.do_get != 0 ? m_iDataRecvSize : m_iDataSendSize);
    if (!bInProgress && record.verdict == MEAS_STEP_INPROGRESS)
        record.verdict = MEAS_STEP_FAIL;
    return record;
}

int CNetTest_FtpBase::reportFtpTestResult(bool bInProgress) {
    const SRecordKind* kind = ftp_record_of(m_stFtpBaseConfig);
    if (kind == nullptr)
        return 0;
    CRecordFile file(kind->path);
    if (!bInProgress && file.lacksDescriptor()) {
        for (int* sock : {&m_sockeListen, &m_sockeData, &m_sockeCtrl})
            ka_close_socket(*sock);
        file = CRecordFile(kind->path);
    }
    const SRecord record = currentRecord(bInProgress);
    if (kind == &ftp_get_record) {
        ka_trace("srv_resp is %" PRId64 ",data_size is %" PRId64 "\n", record.contime,
                 record.totdata);
        ka_trace("data_time is %" PRId64 "\n", record.trtime);
    }
    file.write(ka_format_record(*kind, record));
    return 0;
}
