#include "measure/record.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "measure/netstep.h"
#include "measure/transferstat.h"
#include "netbase/support/trace.h"
#include "netbase/support/wait.h"

const std::array<SRecordFigure, 7> record_figures = {{
    {"contime", &SRecord::contime, EFigure::msecs, "connect time"},
    {"trtime", &SRecord::trtime, EFigure::msecs, "transfer time"},
    {"totdata", &SRecord::totdata, EFigure::bytes, "data"},
    {"curspeed", &SRecord::curspeed, EFigure::speed, "latest speed"},
    {"minspeed", &SRecord::minspeed, EFigure::speed, "lowest speed"},
    {"maxspeed", &SRecord::maxspeed, EFigure::speed, "highest speed"},
    {"avgspeed", &SRecord::avgspeed, EFigure::speed, "average speed"},
}};

namespace {

/// One key and value pair of the line.
struct SField {
    const char* key;
    char separator;
    int64_t* value;
    int64_t max;
};

/// All pairs of a record, in their order; the rest of the array is empty.
std::array<SField, 1 + record_steps_max + record_figures.size()> fields_of(const SRecordKind& kind,
                                                                           SRecord* record) {
    std::array<SField, 1 + record_steps_max + record_figures.size()> fields{};
    SField* field = fields.data();
    *field++ = {"overall_step", ':', &record->verdict, MEAS_STEP_PASS};
    for (size_t i = 0; i < kind.stepCount; ++i)
        *field++ = {kind.steps[i].key, kind.steps[i].separator, &record->steps[i], MEAS_STEP_PASS};
    for (const SRecordFigure& figure : record_figures)
        *field++ = {figure.key, ':', &(record->*figure.value), INT64_MAX};
    return fields;
}

/// Takes `text` off `rest`; false when something else is there.
bool take_text(std::string_view* rest, std::string_view text) {
    if (rest->substr(0, text.size()) != text)
        return false;
    rest->remove_prefix(text.size());
    return true;
}

bool take_number(std::string_view* rest, int64_t max, int64_t* value) {
    const auto [end, error] = std::from_chars(rest->data(), rest->data() + rest->size(), *value);
    if (error != std::errc() || *value < 0 || *value > max)
        return false;
    rest->remove_prefix(static_cast<size_t>(end - rest->data()));
    return true;
}

/// Opens the file, creating it only when there is none: kernels may refuse that for the files of
/// others in /tmp, to root too. A link, which may lead anywhere, is replaced by a file.
CDescriptor open_record(const char* path) {
    constexpr int mode = O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
    int fd = open(path, mode);
    if (fd < 0 && ((errno == ELOOP && unlink(path) == 0) || errno == ENOENT))
        fd = open(path, mode | O_CREAT, 0666);
    return CDescriptor(fd);
}

/// Keeps other tests from writing the same record at the same time. Whoever holds the lock for long
/// is not waited for.
void lock_record(int fd) {
    constexpr timeval pause = {0, 1000};
    for (int tries = 10; flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK && tries > 0;
         --tries)
        ka_wait(nullptr, 0, &pause);
}

}  // namespace

bool SRecord::hasPassed() const {
    return verdict == MEAS_STEP_PASS;
}

bool SRecord::isRunning() const {
    return !hasPassed() && verdict != MEAS_STEP_FAIL;
}

bool SRecord::isUnsampled() const {
    // A sample is due every second of data, and with bytes it is 0 only below 1 B/s.
    return maxspeed == 0 && (trtime < 1000 || totdata > 0);
}

int64_t SRecord::overallSpeed() const {
    return ka_bytes_per_second(totdata, trtime);
}

CRecordText ka_format_record(const SRecordKind& kind, SRecord record) {
    CRecordText text{};
    size_t used = 0;
    for (const SField& field : fields_of(kind, &record)) {
        if (field.key == nullptr || used >= text.size())
            break;
        const int length = snprintf(text.data() + used, text.size() - used, "%s%s%c%" PRId64,
                                    used > 0 ? "," : "", field.key, field.separator, *field.value);
        used += length > 0 ? static_cast<size_t>(length) : 0;
    }
    return text;
}

bool ka_parse_record(std::string_view bytes, const SRecordKind& kind, SRecord* record,
                     std::string* why) {
    *record = {};
    std::string_view rest = bytes;
    for (const SField& field : fields_of(kind, record)) {
        if (field.key == nullptr)
            break;
        const std::string key = std::string("\"") + field.key;
        if (rest.data() != bytes.data() && !take_text(&rest, ",")) {
            *why = "it ends before " + key + "\"";
            return false;
        }
        if (!take_text(&rest, field.key) || !take_text(&rest, {&field.separator, 1})) {
            *why = key + field.separator + "\" is not where it belongs";
            return false;
        }
        if (!take_number(&rest, field.max, field.value)) {
            *why = key + "\" has no value that it may have";
            return false;
        }
    }
    if (rest == std::string_view("\0", 1))
        return true;
    *why = rest.empty() ? "its closing NUL is missing"
                        : "something other than its closing NUL follows its last field";
    return false;
}

CRecordFile::CRecordFile(const char* path)
    : m_file(open_record(path)),
      m_lacksDescriptor(!m_file.isOpen() && (errno == EMFILE || errno == ENFILE)) {
    if (!m_file.isOpen()) {
        ka_trace("File error setup save!\n");
        return;
    }
    lock_record(m_file.get());
    [[maybe_unused]] const int emptied = ftruncate(m_file.get(), 0);
}

void CRecordFile::write(const CRecordText& text) {
    if (!m_file.isOpen())
        return;
    const size_t size = std::strlen(text.data()) + 1;
    [[maybe_unused]] const ssize_t written = ::write(m_file.get(), text.data(), size);
    // Without the lock, another test may have written a longer one since this file was emptied.
    struct stat status {};
    if (fstat(m_file.get(), &status) == 0 && status.st_size > static_cast<off_t>(size)) {
        [[maybe_unused]] const int cut = ftruncate(m_file.get(), static_cast<off_t>(size));
    }
    m_file = CDescriptor(-1);
}
