// The HTTP test's result record.
#pragma once

#include "measure/record.h"

extern const SRecordKind http_record;
