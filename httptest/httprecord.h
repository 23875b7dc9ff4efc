// The HTTP test's result record.
#pragma once

#include <array>

#include "netbase/record.h"

constexpr char http_record_path[] = "/tmp/httpdata";

/// The fields, in their order. Readers depend on the comma behind step_download.
constexpr std::array<SRecordField, 12> http_record_fields = {{
    {"overall_step", ':'},
    {"step_prepare", ':'},
    {"step_connect", ':'},
    {"step_gethead", ':'},
    {"step_download", ','},
    {"contime", ':'},
    {"trtime", ':'},
    {"totdata", ':'},
    {"curspeed", ':'},
    {"minspeed", ':'},
    {"maxspeed", ':'},
    {"avgspeed", ':'},
}};
