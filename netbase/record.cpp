#include "netbase/record.h"

#include <sys/stat.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

CRecordText ka_format_record(const SRecordField* fields, const int64_t* values, size_t count) {
    CRecordText text{};
    size_t used = 0;
    for (size_t i = 0; i < count && used < text.size(); ++i) {
        const int length =
            snprintf(text.data() + used, text.size() - used, "%s%s%c%" PRId64, i > 0 ? "," : "",
                     fields[i].key, fields[i].separator, values[i]);
        used += length > 0 ? static_cast<size_t>(length) : 0;
    }
    return text;
}

CRecordFile::CRecordFile(const char* path) : m_stream(ka_open_file(path, true)) {
    if (m_stream == nullptr)
        puts("File error setup save!");
}

void CRecordFile::write(const CRecordText& text) {
    if (m_stream == nullptr)
        return;
    const size_t size = std::strlen(text.data()) + 1;
    fwrite(text.data(), 1, size, m_stream.get());
    fflush(m_stream.get());
    // Another test may have written a longer one since this file was emptied.
    const int file = fileno(m_stream.get());
    struct stat status {};
    if (fstat(file, &status) == 0 && status.st_size > static_cast<off_t>(size)) {
        [[maybe_unused]] const int cut = ftruncate(file, static_cast<off_t>(size));
    }
    m_stream.reset();
}
