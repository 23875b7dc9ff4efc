// What can be had at best: connect, ask, one recv or send of 512 KiB after another, and nothing
// else.
//
//     sink http|get|put HOW ADDRESS PORT PATH BYTES
//
// HOW: "plain"; for downloads also "drop" (the kernel drops the bytes) and "pace" (it does, and
// wakes the receiver for the batches that are given in KiB: "pace256").
#include <arpa/inet.h>
#include <netinet/in.h>
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
    if (argc != 7)
        return 64;
    const std::string kind = argv[1];
    const std::string how = argv[2];
    const std::string path = argv[5];
    long long left = std::atoll(argv[6]);
    auto* buffer = static_cast<char*>(std::malloc(chunk));
    std::memset(buffer, 0, chunk);
    const int first = dial(argv[3], std::atoi(argv[4]));
    int data = first;
    if (kind == "http")
        ask(first, "GET " + path + " HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    else
        data = open_data(first, argv[3], (kind == "get" ? "RETR " : "STOR ") + path + "\r\n");
    const bool is_put = kind == "put";
    const int flags = how == "plain" ? 0 : MSG_TRUNC;
    const bool paces = how.substr(0, 4) == "pace";
    const int batch = paces ? std::atoi(how.c_str() + 4) * 1024 : 0;
    if (paces)
        setsockopt(data, SOL_SOCKET, SO_RCVLOWAT, &batch, sizeof(batch));
    while (left > 0) {
        const int rest = static_cast<int>(left);
        if (paces && left < batch)
            setsockopt(data, SOL_SOCKET, SO_RCVLOWAT, &rest, sizeof(rest));
        const ssize_t n = is_put ? send(data, buffer, chunk, 0) : recv(data, buffer, chunk, flags);
        if (n <= 0)
            break;
        left -= n;
    }
    close(data);
    if (kind != "http")
        ask(first, "");  // until the server has it all
    return 0;
}
