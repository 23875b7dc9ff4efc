// The state of a run.
#pragma once

#include "ftptest/cnettest_ftpbase.h"
#include "measure/transferbuffer.h"

struct CNetTest_FtpBase::SRun {
    FtpReply reply{};  ///< used again by every exchange
    CTransferBuffer data;
    int64_t sent = 0;       ///< bytes of the upload that the kernel took
    timeval lastSend{};     ///< when it last took some
    bool watchCtrl = true;  ///< the control connection can still say something
    bool quitSent = false;
};
