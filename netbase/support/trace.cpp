#include "netbase/support/trace.h"

#include <cstdarg>

namespace {

FILE* other_stream = nullptr;
FILE* const* stream = &stdout;

}  // namespace

int (*ka_trace_hook)(bool may_wait) = nullptr;

void ka_trace(const char* format, ...) {
    if (*stream == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(*stream, format, arguments);  // NOLINT: va_start has set them up
    va_end(arguments);
}

void ka_set_trace_stream(FILE* other) {
    other_stream = other;
    stream = &other_stream;
}
