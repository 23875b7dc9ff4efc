// The limit of the pattern that net-test measures with: connect, ask, one recv or send of 512 KiB
// after another, and nothing else.  sink http|get|put|put-short ADDRESS PORT PATH BYTES
// "put-short" keeps the kernel's send queue as short as net-test does, which moves work of the
// kernel from the server's account to the client's.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t chunk = 524288;

int dial(const char* address, int port) {
    const int sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, address, &to.sin_addr);
    if (connect(sock, reinterpret_cast<sockaddr*>(&to), sizeof(to)) != 0)
        std::exit(1);
    return sock;
}

/// Sends a command, if any, and reads up to one line of the answer.
std::string ask(int sock, const std::string& command) {
    if (send(sock, command.data(), command.size(), 0) < 0)
        std::exit(1);
    std::string line;
    char c = 0;
    while (recv(sock, &c, 1, 0) == 1 && c != '\n')
        line += c;
    return line;
}

/// Logs in and gives the data connection of a command.
int open_data(int ctrl, const char* address, const std::string& command) {
    ask(ctrl, "");
    ask(ctrl, "USER anonymous\r\n");
    ask(ctrl, "PASS a\r\n");
    ask(ctrl, "TYPE I\r\n");
    const std::string answer = ask(ctrl, "PASV\r\n");
    int n[6] = {};
    std::sscanf(answer.c_str() + answer.find('('), "(%d,%d,%d,%d,%d,%d", n, n + 1, n + 2, n + 3,
                n + 4, n + 5);
    const int data = dial(address, n[4] * 256 + n[5]);
    ask(ctrl, command);
    return data;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6)
        return 64;
    const std::string kind = argv[1];
    const std::string path = argv[4];
    long long left = std::atoll(argv[5]);
    auto* buffer = static_cast<char*>(std::malloc(chunk));
    std::memset(buffer, 0, chunk);
    const int first = dial(argv[2], std::atoi(argv[3]));
    int data = first;
    if (kind == "http")
        ask(first, "GET " + path + " HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    else
        data = open_data(first, argv[2], (kind == "get" ? "RETR " : "STOR ") + path + "\r\n");
    const bool is_put = kind.substr(0, 3) == "put";
    const int low_mark = 131072;
    if (kind == "put-short")
        setsockopt(data, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &low_mark, sizeof(low_mark));
    while (left > 0) {
        const ssize_t n = is_put ? send(data, buffer, chunk, 0) : recv(data, buffer, chunk, 0);
        if (n <= 0)
            break;
        left -= n;
    }
    close(data);
    if (kind != "http")
        ask(first, "");  // until the server has it all
    return 0;
}
