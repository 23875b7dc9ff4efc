#include "tests/support/testbed.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iostream>
#include <sstream>

#include "netbase/cnetbase.h"
#include "show/recordkinds.h"

namespace {

bool isReadable(int fd) {
    const timeval limit{10, 0};
    return ka_read_wait(fd, &limit) == 1;
}

/// The language of a table, and of what scripted servers say:
///     row   = field { "|" field }        a line; blanks around a field are cut off
///     field = { byte | "\" mark | "<" count " " byte ">" | pause }
///     mark  = "r" | "n" | "t" | "s" | "0"        CR, LF, tab, blank, NUL
///     pause = "<pause " milliseconds ">"
/// "<63 x>" is 63 times "x". A pause stays in the text: Connection::say makes it.
std::string unescape(std::string text) {
    const std::string marks = "rnts0";
    const std::string meant("\r\n\t \0", 5);
    for (size_t at = 0; (at = text.find('\\', at)) != std::string::npos; ++at) {
        if (const size_t mark = marks.find(text[at + 1]); mark != std::string::npos)
            text.replace(at, 2, 1, meant[mark]);
    }
    for (size_t at = 0; (at = text.find('<', at)) != std::string::npos; ++at) {
        if (const size_t end = text.find('>', at); end == text.find(' ', at) + 2)
            text.replace(at, end + 1 - at, std::stoul(text.substr(at + 1)), text[end - 1]);
    }
    return text;
}

/// Namespaces of its own; if need be, those of a user namespace in which this user is root.
bool leaveTheMachine() {
    constexpr int own = CLONE_NEWNET | CLONE_NEWNS;
    const std::string uid = std::to_string(geteuid()), gid = std::to_string(getegid());
    if (unshare(own) != 0) {
        if (unshare(own | CLONE_NEWUSER) != 0)
            return false;
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", "0 " + uid + " 1");
        writeFile("/proc/self/gid_map", "0 " + gid + " 1");
    }
    return shell("here='" SOURCE
                 "'"
                 R"(
        umask 022 && mount --make-rprivate / && cd "$here" &&
        mount -t tmpfs own /tmp && mount -t tmpfs own /run &&
        mount -t tmpfs own /proc/sys/net && mkdir -p /proc/sys/net/kanet/port-0 "$here" &&
        mount --no-canonicalize --rbind . "$here" && ip link set lo up)") == 0;
}

}  // namespace

void OwnHost::SetUp() {
    if (!leaveTheMachine())
        GTEST_SKIP() << "no namespaces of its own";
    g_bNetAppExitFlag = false;
    g_dns_addr[0] = '\0';
    CNetBase::DNSREQ_TRYOUT = -1;
    std::signal(SIGPIPE, [](int) {});
    prepare();
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

void writePortFile(const std::string& name, const std::string& text) {
    writeFile("/proc/sys/net/kanet/port-0/" + name, text);
}

int shell(const std::string& command) {
    return std::system(command.c_str());
}

std::string printed(const std::function<void()>& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

std::string hex(const std::string& digits) {
    std::string bytes;
    std::istringstream pairs(digits);
    for (char two[3] = ""; pairs >> std::ws && pairs.get(two, 3);)
        bytes += static_cast<char>(std::stoi(two, nullptr, 16));
    return bytes;
}

in6_addr ip6(const char* text) {
    in6_addr addr{};
    EXPECT_EQ(1, inet_pton(AF_INET6, text, &addr));
    return addr;
}

std::string outcome(const std::string& bytes) {
    SRecord record;
    std::string why;
    const SRecordKind& kind = guess_record_kind(bytes);
    if (!ka_parse_record(bytes, kind, &record, &why))
        return "no record: " + why;
    std::string text = std::to_string(record.verdict) + " ";
    for (size_t i = 0; i < kind.stepCount; ++i)
        text += std::to_string(record.steps[i]);
    return text + " " + std::to_string(record.totdata);
}

std::vector<Row> table(const std::string& text) {
    std::vector<Row> rows;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.find_first_not_of(' ') == std::string::npos)
            continue;
        rows.emplace_back();
        std::istringstream fields(line + "|");
        for (std::string field; std::getline(fields, field, '|');) {
            field.erase(0, field.find_first_not_of(' '));
            field.erase(field.find_last_not_of(' ') + 1);
            rows.back().push_back(unescape(field));
        }
    }
    return rows;
}

std::string Connection::readUntil(const std::string& end) {
    std::string text;
    char c = 0;
    while ((text.size() < end.size() || text.substr(text.size() - end.size()) != end) &&
           isReadable(fd) && recv(fd, &c, 1, 0) == 1)
        text += c;
    return text;
}

void Connection::say(std::string_view text, bool cut) {
    constexpr std::string_view pause = "<pause ";
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    for (size_t piece = cut ? 4 : text.size(); !text.empty(); piece = cut ? 1 : text.size()) {
        const size_t size = std::min({text.find(pause), piece, text.size()});
        send(fd, text.data(), size, MSG_NOSIGNAL);
        text.remove_prefix(size);
        usleep(cut ? 2000 : 0);
        if (text.substr(0, pause.size()) == pause) {
            usleep(1000 * static_cast<unsigned>(std::stoi(std::string(text.substr(pause.size())))));
            text.remove_prefix(text.find('>') + 1);
        }
    }
}

void Connection::reset() {
    const linger hard{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &hard, sizeof(hard));
    ka_close_socket(fd);
}

Listener::Listener(int family) : sock(socket(family, SOCK_STREAM, 0)) {
    const CSockAddr local = family == AF_INET6 ? CSockAddr::inet6(in6addr_loopback, 0)
                                               : CSockAddr::inet4(ip4("127.0.0.1"), 0);
    EXPECT_EQ(0, bind(sock.get(), local.get(), local.length()));
    EXPECT_EQ(0, listen(sock.get(), 8));
}

Connection Listener::accept() {
    return Connection(isReadable(sock.get()) ? ::accept(sock.get(), nullptr, nullptr) : -1);
}

Program::Program(const std::string& command) : pid(fork()) {
    if (pid == 0) {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(dup2(creat("/tmp/words", 0600), STDOUT_FILENO), STDERR_FILENO);
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
}

Program::~Program() {
    kill(-pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    if (testing::Test::HasFailure())
        std::cout << readFile("/tmp/words");
}
