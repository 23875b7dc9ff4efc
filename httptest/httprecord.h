// The HTTP test's result record.
#pragma once

#include "netbase/record.h"

constexpr char http_record_path[] = "/tmp/httpdata";

/// The fields, in their order. Readers depend on the comma behind step_download.
constexpr auto http_record_fields = ka_record_fields<5>({{
    {"overall_step", ':', ERecordValue::verdict, "verdict"},
    {"step_prepare", ':', ERecordValue::step, "URL and name resolution"},
    {"step_connect", ':', ERecordValue::step, "connection"},
    {"step_gethead", ':', ERecordValue::step, "request and head"},
    {"step_download", ',', ERecordValue::step, "download"},
}});
