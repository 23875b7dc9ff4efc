// The FTP test's result records and marker file.
#pragma once

#include <array>

#include "netbase/record.h"

constexpr char ftp_get_record_path[] = "/tmp/ftpgetrst";
constexpr char ftp_put_record_path[] = "/tmp/ftpputrst";

/// The fields, in their order. Readers depend on the comma behind ctrlput_step.
constexpr std::array<SRecordField, 14> ftp_record_fields = {{
    {"overall_step", ':', ERecordValue::verdict, "verdict"},
    {"step_prepare", ':', ERecordValue::step, "name resolution"},
    {"ctrlconn_step", ':', ERecordValue::step, "control connection"},
    {"ctrlauth_step", ':', ERecordValue::step, "login and data mode"},
    {"ctrlput_step", ',', ERecordValue::step, "transfer command"},
    {"dataconn_step", ':', ERecordValue::step, "data connection"},
    {"datatran_step", ':', ERecordValue::step, "data transfer"},
    {"contime", ':', ERecordValue::msecs, "connect time"},
    {"trtime", ':', ERecordValue::msecs, "transfer time"},
    {"totdata", ':', ERecordValue::bytes, "data"},
    {"curspeed", ':', ERecordValue::speed, "latest speed"},
    {"minspeed", ':', ERecordValue::speed, "lowest speed"},
    {"maxspeed", ':', ERecordValue::speed, "highest speed"},
    {"avgspeed", ':', ERecordValue::speed, "average speed"},
}};
