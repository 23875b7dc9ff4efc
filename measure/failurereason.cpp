#include "measure/failurereason.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "netbase/support/textvalue.h"

void CFailureReason::setReason(const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);  // NOLINT: va_start has set them up
    va_end(arguments);
    ka_copy_printable(m_szReason, text);
}

void CFailureReason::setLookupReason(const char* host) {
    if (*host != '\0')
        setReason("%s does not resolve", host);
    else
        setReason("no host was named");
}

void CFailureReason::setConnectReason(const CSockAddr& server, int timeout) {
    const int reason = errno;
    const CSockAddr::Text host = server.hostText();
    switch (reason) {
        case ECONNREFUSED:
            setReason("connection refused by %s port %d", host.data(), server.port());
            break;
        case EINPROGRESS:
            setReason("no answer from %s port %d within %g s", host.data(), server.port(),
                      timeout * 1e-6);
            break;
        default:
            setReason("%s port %d can't be reached: %s", host.data(), server.port(),
                      std::strerror(reason));
            break;
    }
}
