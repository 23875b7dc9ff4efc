// The reply codes that a test decides on (RFC 959), and how it judges them.
#pragma once

enum : int {
    FTP_DATA_OPEN = 125,
    FTP_OPENING = 150,
    FTP_OK = 200,
    FTP_SUPERFLUOUS = 202,
    FTP_FILE_STATUS = 213,
    FTP_READY = 220,
    FTP_COMPLETE = 226,
    FTP_PASSIVE = 227,
    FTP_LOGGED_IN = 230,
    FTP_NEED_PASSWORD = 331,
};

/// ALLO: servers that need no announcement say so by 202.
constexpr bool ftp_accepts_allo(int code) {
    return code == FTP_OK || code == FTP_SUPERFLUOUS;
}

/// RETR: any preliminary reply up to 150, since some servers send a restart marker (110) first.
constexpr bool ftp_accepts_retr(int code) {
    return code > 0 && code <= FTP_OPENING;
}

/// STOR: 125 from servers that find the data connection already open.
constexpr bool ftp_accepts_stor(int code) {
    return code == FTP_DATA_OPEN || code == FTP_OPENING;
}
