#include "netbase/record.h"

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
    if (m_stream != nullptr) {
        fwrite(text.data(), 1, std::strlen(text.data()) + 1, m_stream.get());
        m_stream.reset();
    }
    fflush(stdout);
}
