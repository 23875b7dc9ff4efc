// What a run of the FTP test holds for its length.
#pragma once

#include "ftptest/cnettest_ftpbase.h"
#include "measure/transferbuffer.h"

struct CNetTest_FtpBase::SRun {
    FtpReply reply{};  ///< used again by every exchange
    CTransferBuffer data;
    timeval lastSend{};     ///< when the kernel last took a part of the upload
    bool watchCtrl = true;  ///< the control connection can still say something
    bool quitSent = false;
};
