#include "app/runtest.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

/// The net-test in the folder of this program; without a folder, to be sought in PATH, when there
/// is none.
std::string find_net_test() {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
    std::string found(path, length > 0 ? static_cast<size_t>(length) : 0);
    found.replace(found.rfind('/') + 1, std::string::npos, "net-test");
    return access(found.c_str(), X_OK) == 0 ? found : "net-test";
}

}  // namespace

CTestProcess::CTestProcess() {
    sigemptyset(&m_signals);
    sigaddset(&m_signals, SIGCHLD);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&m_signals, number);
    }
}

bool CTestProcess::start(char* const* arguments, int traces, std::string* why) {
    char name[] = "net-test";
    std::vector<char*> argv = {name};
    do {
        argv.push_back(*arguments);
    } while (*arguments++ != nullptr);

    signal(SIGCHLD, SIG_DFL);  // one that is ignored would take the exit status with it
    sigprocmask(SIG_BLOCK, &m_signals, &m_before);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGTERM);  // what ends it

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setsigmask(&attributes, &m_before);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, traces, STDOUT_FILENO);
    const int error =
        posix_spawnp(&m_pid, find_net_test().c_str(), &files, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (error == 0)
        return true;
    sigprocmask(SIG_SETMASK, &m_before, nullptr);
    *why = std::strerror(error);
    return false;
}

bool CTestProcess::wait(const timespec& time) {
    const int signal = sigtimedwait(&m_signals, nullptr, &time);
    if (signal > 0 && signal != SIGCHLD) {
        m_interruptedBy = signal;
        kill(m_pid, SIGTERM);
    }
    if (waitpid(m_pid, &m_status, WNOHANG) == 0)
        return true;
    sigprocmask(SIG_SETMASK, &m_before, nullptr);
    return false;
}

std::string CTestProcess::failure() const {
    char text[128] = "";
    if (WIFSIGNALED(m_status))
        snprintf(text, sizeof(text), "was killed by signal %d (%s)", WTERMSIG(m_status),
                 strsignal(WTERMSIG(m_status)));
    else if (WEXITSTATUS(m_status) != 0)
        snprintf(text, sizeof(text), "ended with status %d", WEXITSTATUS(m_status));
    return text;
}
