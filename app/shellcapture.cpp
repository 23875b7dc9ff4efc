#include "app/shellcapture.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "netbase/cnetbase.h"
#include "netbase/descriptor.h"
#include "netbase/textvalue.h"

namespace {

/// How a child process starts: with the default for a broken pipe, whatever this process does about
/// it.
class CChildAttributes {
  public:
    CChildAttributes() {
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setsigdefault(&m_attributes, &defaults);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF);
    }
    CChildAttributes(const CChildAttributes&) = delete;
    CChildAttributes& operator=(const CChildAttributes&) = delete;
    ~CChildAttributes() { posix_spawnattr_destroy(&m_attributes); }

    const posix_spawnattr_t* get() const { return &m_attributes; }

  protected:
    posix_spawnattr_t m_attributes;
};

/// A shell command whose standard output is read through a pipe.
class CCommand {
  public:
    explicit CCommand(const char* cmd) : m_output(-1) {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            return;
        const CDescriptor input(ends[1]);
        CDescriptor output(ends[0]);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input.get(), STDOUT_FILENO);
        const std::array<const char*, 4> argv = {"sh", "-c", cmd, nullptr};
        const CChildAttributes attributes;
        if (posix_spawn(&m_pid, "/bin/sh", &actions, attributes.get(),
                        const_cast<char* const*>(argv.data()), environ) == 0)
            m_output = output.release();
        else
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    CCommand(const CCommand&) = delete;
    CCommand& operator=(const CCommand&) = delete;
    ~CCommand() {
        if (m_output >= 0)
            close(m_output);
        while (m_pid > 0 && waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    bool isStarted() const { return m_pid > 0; }

    /// At most `room` bytes of output; 0 at its end.
    size_t read(char* buf, size_t room) {
        ssize_t count = -1;
        do {
            count = ::read(m_output, buf, room);
        } while (count < 0 && errno == EINTR);
        return count > 0 ? static_cast<size_t>(count) : 0;
    }

    /// Ends a command that may go on for ever. What it has started meets a broken pipe.
    void stop() { kill(m_pid, SIGKILL); }

  protected:
    int m_output;
    pid_t m_pid = -1;
};

}  // namespace

void executeCMD(const char* cmd, char* out) {
    CCommand command(cmd);
    if (!command.isStarted()) {
        printf("popen %s error\n", cmd);
        return;
    }
    size_t used = strnlen(out, capture_size - 1);
    // What is read counts, not what is kept: a command may write NUL bytes without end. A byte that
    // comes for the place of the final NUL is one too many.
    size_t room = capture_size - used;
    while (room > 0) {
        const size_t count = command.read(out + used, room);
        if (count == 0)
            break;
        room -= count;
        char* const end = std::remove(out + used, out + used + count, '\0');
        used = static_cast<size_t>(end - out);
    }
    out[std::min(used, capture_size - 1)] = '\0';
    if (room == 0)
        command.stop();
}

void get_dns_addr() {
    constexpr std::string_view mark = "P-t-P:";
    std::array<char, capture_size> text{};
    executeCMD("ifconfig", text.data());
    const std::string_view output(text.data());
    const size_t at = output.find(mark);
    if (at == std::string_view::npos) {
        puts("nothing found");
    } else {
        const std::string_view peer = output.substr(at + mark.size());
        ka_copy_text(g_dns_addr, peer.substr(0, peer.find(' ')));
    }
    printf("the dns addr is %s\n", g_dns_addr);
}
