// The FTP test's result records and marker file.
#pragma once

#include "netbase/record.h"

constexpr char ftp_get_record_path[] = "/tmp/ftpgetrst";
constexpr char ftp_put_record_path[] = "/tmp/ftpputrst";

/// The fields, in their order. Readers depend on the comma behind ctrlput_step.
constexpr auto ftp_record_fields = ka_record_fields<7>({{
    {"overall_step", ':', ERecordValue::verdict, "verdict"},
    {"step_prepare", ':', ERecordValue::step, "name resolution"},
    {"ctrlconn_step", ':', ERecordValue::step, "control connection"},
    {"ctrlauth_step", ':', ERecordValue::step, "login and data mode"},
    {"ctrlput_step", ',', ERecordValue::step, "transfer command"},
    {"dataconn_step", ':', ERecordValue::step, "data connection"},
    {"datatran_step", ':', ERecordValue::step, "data transfer"},
}});
