#include "netbase/support/tmpname.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int name_size = 20;

}  // namespace

char* ka_get_tmpnam(char* buf) {
    if (buf == nullptr)
        return nullptr;
    do {
        // The sequence is meant to be the same in every run.
        snprintf(buf, name_size, "/tmp/.ka_%u", static_cast<unsigned int>(std::rand()));  // NOLINT
    } while (access(buf, F_OK) == 0);
    return buf;
}
