// The FTP test's result records and marker file.
#pragma once

#include <array>

#include "netbase/record.h"

constexpr char ftp_get_record_path[] = "/tmp/ftpgetrst";
constexpr char ftp_put_record_path[] = "/tmp/ftpputrst";

/// The fields, in their order. Readers depend on the comma behind ctrlput_step.
constexpr std::array<SRecordField, 14> ftp_record_fields = {{
    {"overall_step", ':'},
    {"step_prepare", ':'},
    {"ctrlconn_step", ':'},
    {"ctrlauth_step", ':'},
    {"ctrlput_step", ','},
    {"dataconn_step", ':'},
    {"datatran_step", ':'},
    {"contime", ':'},
    {"trtime", ':'},
    {"totdata", ':'},
    {"curspeed", ':'},
    {"minspeed", ':'},
    {"maxspeed", ':'},
    {"avgspeed", ':'},
}};
