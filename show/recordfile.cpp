#include "show/recordfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>

#include "netbase/support/clock.h"
#include "netbase/support/descriptor.h"
#include "netbase/support/wait.h"
#include "show/recordkinds.h"

namespace {

/// A reader may meet the file just emptied, so it looks again.
constexpr int empty_retries = 10;
constexpr timeval retry_pause = {0, 20000};

/// An FTP test whose server takes almost a minute for each reply rewrites nothing for 9 minutes.
constexpr int abandoned_seconds = 600;

/// Reads the file's bytes, which for a record are few; false with `why` when it can't be read.
bool read_file(const char* path, std::string* bytes, timespec* written, std::string* why) {
    const CDescriptor file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    char buffer[record_text_size + 1];
    const ssize_t count = file.isOpen() ? read(file.get(), buffer, sizeof(buffer)) : -1;
    struct stat status {};
    if (count < 0 || fstat(file.get(), &status) != 0) {
        *why = std::strerror(errno);
        return false;
    }
    bytes->assign(buffer, static_cast<size_t>(count));
    *written = status.st_mtim;
    return true;
}

}  // namespace

bool SReading::isOld() const {
    // A clock that was set back makes old records young, but seldom by so little.
    const double age = std::difftime(time(nullptr), written.tv_sec);
    return record.isRunning() && std::abs(age) > abandoned_seconds;
}

bool CRecordWatch::isAbandoned(const SReading& reading, const timeval& now) {
    if (reading.written.tv_sec != m_written.tv_sec ||
        reading.written.tv_nsec != m_written.tv_nsec) {
        m_written = reading.written;
        m_since = now;
    }
    return reading.isOld() && ka_tv_diff(now, m_since).tv_sec >= abandoned_seconds;
}

bool read_record(const char* path, SReading* reading, std::string* why) {
    std::string bytes;
    SReading fresh = *reading;
    for (int i = 0; bytes.empty() && i < empty_retries; ++i) {
        if (i > 0)
            ka_wait(nullptr, 0, &retry_pause);
        if (!read_file(path, &bytes, &fresh.written, why))
            return false;
    }
    if (bytes.empty()) {
        *why = "not run yet";
        return false;
    }
    if (fresh.kind == nullptr)
        fresh.kind = &guess_record_kind(bytes);
    if (!ka_parse_record(bytes, *fresh.kind, &fresh.record, why)) {
        *why = "not a record: " + *why;
        return false;
    }
    *reading = fresh;
    return true;
}

bool clear_record(const char* path, std::string* why) {
    constexpr int mode = O_WRONLY | O_TRUNC | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
    const CDescriptor file(open(path, mode));
    if (!file.isOpen()) {
        if (errno == ENOENT || unlink(path) == 0)
            return true;
        *why = std::string(std::strerror(errno)) + "; remove it as its owner";
        return false;
    }
    struct stat status {};
    *why = "not a regular file; remove it";
    return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}
