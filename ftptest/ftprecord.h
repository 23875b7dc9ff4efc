// The FTP test's result records.
#pragma once

#include "measure/record.h"

extern const SRecordKind ftp_get_record;
extern const SRecordKind ftp_put_record;
