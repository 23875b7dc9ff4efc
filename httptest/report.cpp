// The HTTP test's result record.
#include "httptest/cnettest_httpbase.h"
#include "httptest/httprecord.h"
#include "measure/record.h"
#include "netbase/support/descriptor.h"

// The steps in the order in which they are reported below. Readers depend on the comma.
const SRecordKind http_record = {"http",
                                 "HTTP download",
                                 "/tmp/httpdata",
                                 {{{"step_prepare", ':', "URL and name resolution"},
                                   {"step_connect", ':', "connection"},
                                   {"step_gethead", ':', "request and head"},
                                   {"step_download", ',', "download"}}},
                                 4};

SRecord CNetTest_HttpBase::currentRecord() const {
    return makeRecord({m_eStepPrepare, m_eStepConnect, m_eStepGetHead, m_eStepDownload},
                      m_tvConnStart, m_tvConnEnd, m_iDataRecvSize);
}

int CNetTest_HttpBase::reportHttpTestResult(bool interim) {
    CRecordFile file(http_record.path);
    if (!interim && file.lacksDescriptor()) {
        ka_close_socket(m_sockeHttp);
        file = CRecordFile(http_record.path);
    }
    file.write(ka_format_record(http_record, currentRecord()));
    return 0;
}
