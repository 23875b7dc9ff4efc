#include "app/output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string>

namespace {

/// What the copier gets at a time: so little that a slow reader is seen to take it.
constexpr size_t piece_size = 1024;

/// The child's part: writes each piece and reports it. It ends with its parent, with its input, or
/// when nobody reads any more.
[[noreturn]] void copy(int link, int to, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(0);
    std::array<char, piece_size> text;
    for (ssize_t size; (size = read(link, text.data(), text.size())) > 0;) {
        for (ssize_t done = 0, count = 0; done < size; done += std::max<ssize_t>(count, 0)) {
            count = ::write(to, text.data() + done, static_cast<size_t>(size - done));
            if (count < 0 && errno != EINTR)
                _exit(0);
        }
        send(link, "", 1, 0);
    }
    _exit(0);
}

}  // namespace

COutput::COutput(int fd) : m_fd(fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0)
        return;
    m_isSocket = S_ISSOCK(status.st_mode);
    if (!S_ISFIFO(status.st_mode) && isatty(fd) == 0)
        return;
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    m_own = CDescriptor(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!m_own.isOpen())
        startCopier();
    m_fd = m_own.get();
}

COutput::~COutput() {
    if (m_copier > 0) {
        kill(m_copier, SIGKILL);
        waitpid(m_copier, nullptr, 0);
    }
}

void COutput::startCopier() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return;
    CDescriptor own(ends[0]);
    const CDescriptor others(ends[1]);
    const pid_t parent = getpid();
    m_copier = fork();
    if (m_copier == 0) {
        close(own.release());  // or it would never see the end of its input
        copy(others.get(), m_fd, parent);
    }
    if (m_copier > 0) {
        m_own = std::move(own);
        m_isSocket = true;
    }
}

bool COutput::isDone() {
    char report = 0;
    m_isBusy = m_isBusy && recv(m_fd, &report, 1, MSG_DONTWAIT) < 0;
    return !m_isBusy;
}

size_t COutput::write(std::string_view text) {
    if (!isDone())
        return 0;
    if (m_fd < 0)
        return text.size();
    m_isBusy = m_copier > 0;
    if (m_isBusy)
        text = text.substr(0, piece_size);
    const ssize_t written = m_isSocket
                                ? send(m_fd, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL)
                                : ::write(m_fd, text.data(), text.size());
    if (written >= 0)
        return static_cast<size_t>(written);
    m_isBusy = false;
    if (errno == EAGAIN || errno == EINTR)
        return 0;
    m_failure = errno;
    return text.size();
}

bool COutput::wait(int64_t msecs) const {
    pollfd output{m_fd, static_cast<short>(m_isBusy ? POLLIN : POLLOUT), 0};
    return poll(&output, 1, static_cast<int>(msecs)) > 0;
}
