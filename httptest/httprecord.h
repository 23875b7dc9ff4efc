// The HTTP test's result record.
#pragma once

#include <array>

#include "netbase/record.h"

constexpr char http_record_path[] = "/tmp/httpdata";

/// The fields, in their order. Readers depend on the comma behind step_download.
constexpr std::array<SRecordField, 12> http_record_fields = {{
    {"overall_step", ':', ERecordValue::verdict, "verdict"},
    {"step_prepare", ':', ERecordValue::step, "URL and name resolution"},
    {"step_connect", ':', ERecordValue::step, "connection"},
    {"step_gethead", ':', ERecordValue::step, "request and head"},
    {"step_download", ',', ERecordValue::step, "download"},
    {"contime", ':', ERecordValue::msecs, "connect time"},
    {"trtime", ':', ERecordValue::msecs, "transfer time"},
    {"totdata", ':', ERecordValue::bytes, "data"},
    {"curspeed", ':', ERecordValue::speed, "latest speed"},
    {"minspeed", ':', ERecordValue::speed, "lowest speed"},
    {"maxspeed", ':', ERecordValue::speed, "highest speed"},
    {"avgspeed", ':', ERecordValue::speed, "average speed"},
}};
