// The files of the port control directory.
#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

#include "netbase/cnetbase.h"
#include "netbase/port/attrline.h"
#include "netbase/support/descriptor.h"

namespace {

constexpr size_t line_size = 256;

bool is_empty(const char* text) {
    return text == nullptr || *text == '\0';
}

bool is_attr_text(const char* text) {
    return !is_empty(text) && std::strlen(text) <= attr_text_max;
}

bool is_blank_line(std::string_view line) {
    return std::all_of(line.begin(), line.end(),
                       [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; });
}

/// `out` holds attr_text_max characters and a NUL; it may be null.
void put_value(std::string_view value, char* out) {
    if (out != nullptr)
        out[value.copy(out, attr_text_max)] = '\0';
}

/// Opens a file to be read, or emptied and written; null on failure. Unlike fopen it does not wait
/// for the other end when a FIFO lies there.
CStream open_file(const char* path, bool write) {
    const int mode = write ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY;
    CDescriptor file(open(path, mode | O_NONBLOCK | O_CLOEXEC, 0666));
    CStream stream(file.isOpen() ? fdopen(file.get(), write ? "wb" : "rb") : nullptr);
    if (stream != nullptr)
        file.release();
    return stream;
}

/// What was written counts only once the stream has taken it all.
bool close_written(CStream stream) {
    return fclose(stream.release()) == 0;
}

}  // namespace

bool CNetBase::sysCtrlPath(const char* name, char (&path)[256]) const {
    const int length = snprintf(path, sizeof(path), "%s/%s", m_szSysCtrlDir, name);
    return length > 0 && static_cast<size_t>(length) < sizeof(path);
}

FILE* CNetBase::openSysCtrlFile(const char* name, int write) const {
    char path[256];
    if (name == nullptr || !sysCtrlPath(name, path))
        return nullptr;
    return open_file(path, write != 0).release();
}

int CNetBase::writeFileLine(FILE* f, const char* key, const char* value) {
    if (f == nullptr || !is_attr_text(key) || !is_attr_text(value))
        return -1;
    return fprintf(f, "%s='%s'\n", key, value) > 0 ? 0 : -1;
}

int CNetBase::readFileLine(FILE* f, char* key, char* value) {
    put_value("", key);
    put_value("", value);
    if (f == nullptr)
        return -1;
    std::array<char, line_size> buffer;
    std::string_view line;
    do {
        if (fgets(buffer.data(), static_cast<int>(buffer.size()), f) == nullptr)
            return -1;
        line = buffer.data();
        if (line.empty())  // a NUL byte comes first
            return -1;
    } while (is_blank_line(line));

    std::string_view found_key;
    std::string_view found_value;
    if (!ka_parse_attr_line(line, &found_key, &found_value))
        return -1;
    put_value(found_key, key);
    put_value(found_value, value);
    return 0;
}

int CNetBase::writeSysCtrlAttr(const char* file, const char* key, const char* value) const {
    if (is_empty(file) || !is_attr_text(key) || !is_attr_text(value))
        return -1;
    CStream stream(openSysCtrlFile(file, 1));
    const bool written = writeFileLine(stream.get(), key, value) == 0;
    return stream != nullptr && close_written(std::move(stream)) && written ? 0 : -1;
}

int CNetBase::readSysCtrlAttr(const char* file, const char* key, char* value) const {
    put_value("", value);
    if (is_empty(file) || is_empty(key))
        return -1;
    const CStream stream(openSysCtrlFile(file, 0));
    char line_key[attr_text_max + 1];
    char line_value[attr_text_max + 1];
    while (readFileLine(stream.get(), line_key, line_value) == 0) {
        if (std::strcmp(line_key, key) == 0) {
            put_value(line_value, value);
            return 0;
        }
    }
    return -1;
}

int CNetBase::writeSysCtrlConf(const char* file, const char* value) const {
    if (is_empty(file) || value == nullptr || std::strlen(value) >= attr_text_max)
        return -1;
    CStream stream(openSysCtrlFile(file, 1));
    if (stream == nullptr)
        return -1;
    std::array<char, attr_text_max + 2> text;
    const size_t size = static_cast<size_t>(snprintf(text.data(), text.size(), "%s\n", value)) + 1;
    const bool written = fwrite(text.data(), 1, size, stream.get()) == size;
    return close_written(std::move(stream)) && written ? 0 : -1;
}

int CNetBase::readSysCtrlConf(const char* file, char* value) const {
    put_value("", value);
    if (is_empty(file) || value == nullptr)
        return -1;
    const CStream stream(openSysCtrlFile(file, 0));
    if (stream == nullptr)
        return -1;
    std::array<char, attr_text_max + 1> text{};
    const size_t size = fread(text.data(), 1, attr_text_max, stream.get());
    // A directory opens like a file and shows only when it is read.
    if (ferror(stream.get()) != 0)
        return -1;
    std::string_view whole(text.data(), size);
    whole = whole.substr(0, whole.find('\0'));
    put_value(whole.substr(0, whole.find_first_of("\r\n")), value);
    return 0;
}

int CNetBase::readConfINET4Addr(const char* file, in_addr* addr) const {
    char text[attr_text_max + 1];
    const int result = readSysCtrlConf(file, text);
    readINET4Addr(text, addr);
    return result;
}

int CNetBase::readConfINET6Addr(const char* file, in6_addr* addr) const {
    char text[attr_text_max + 1];
    const int result = readSysCtrlConf(file, text);
    readINET6Addr(text, addr);
    return result;
}
