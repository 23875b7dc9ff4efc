#include "app/shellcapture.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "netbase/cnetbase.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

namespace {

/// Waits for the command; one that goes on writing meets a broken pipe.
struct CCommandCloser {
    void operator()(FILE* output) const { pclose(output); }
};

}  // namespace

void executeCMD(const char* cmd, char* out) {
    const std::unique_ptr<FILE, CCommandCloser> output(popen(cmd, "re"));  // NOLINT(cert-env33-c)
    if (output == nullptr) {
        ka_trace("popen %s error\n", cmd);
        return;
    }
    // What is read counts, not what is kept: a command may write NUL bytes without end.
    const size_t used = strnlen(out, capture_size - 1);
    const size_t count = fread(out + used, 1, capture_size - 1 - used, output.get());
    *std::remove(out + used, out + used + count, '\0') = '\0';
}

void get_dns_addr() {
    constexpr std::string_view mark = "P-t-P:";
    std::array<char, capture_size> text{};
    executeCMD("ifconfig", text.data());
    const std::string_view output(text.data());
    const size_t at = output.find(mark);
    if (at == std::string_view::npos) {
        ka_trace("nothing found\n");
    } else {
        const std::string_view peer = output.substr(at + mark.size());
        ka_copy_text(g_dns_addr, peer.substr(0, peer.find(' ')));
    }
    ka_trace("the dns addr is %s\n", g_dns_addr);
}
