// The FTP test's result records.
#pragma once

#include "ftptest/cnettest_ftpbase.h"
#include "measure/record.h"

extern const SRecordKind ftp_get_record;
extern const SRecordKind ftp_put_record;

/// The record that a test with these settings keeps; null when they name no direction.
const SRecordKind* ftp_record_of(const SFtpBaseConfig& config);
