// What the tests stand on: a host of their own, scripted peers, tables.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "netbase/port/sockaddr.h"
#include "netbase/support/descriptor.h"

/// A test with network and mount namespaces of its own: loopback is up, every port is free, /tmp is
/// empty, and the port control directory of port 0 exists and is empty. Skipped where there are
/// none, so that no test touches the machine.
class OwnHost : public testing::Test {
  protected:
    void SetUp() final;
    /// What a test adds to its host.
    virtual void prepare() {}
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text);
void writePortFile(const std::string& name, const std::string& text);
int shell(const std::string& command);
/// What `call` prints to standard output.
std::string printed(const std::function<void()>& call);

std::string hex(const std::string& digits);
inline in_addr ip4(const char* text) {
    return {inet_addr(text)};
}
in6_addr ip6(const char* text);

/// The outcome of a result record in words, "overall steps bytes"; a complaint when it is none.
std::string outcome(const std::string& record);

using Row = std::vector<std::string>;
/// A table written as text, a row a line, fields between "|"; its language is explained where it is
/// taken apart. Tables whose rows are runs begin with a row's name, which a failure shows.
std::vector<Row> table(const std::string& text);

/// Arguments of net-test, apart by blanks, as main gets them.
struct Arguments {
    explicit Arguments(const std::string& text) {
        std::istringstream stream("net-test " + text);
        words.assign(std::istream_iterator<std::string>(stream), {});
        for (std::string& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
    }
    int count() const { return static_cast<int>(words.size()); }
    Row words;
    std::vector<char*> argv;
};

/// A heap block of exactly its size, so that AddressSanitizer sees a byte too many.
using Bytes = std::vector<unsigned char>;
inline Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// One connection of a peer. Reads give up after 10 s, as a test's safety net.
struct Connection {
    explicit Connection(int sock) : fd(sock) {}
    Connection(Connection&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    ~Connection() { ka_close_socket(fd); }
    /// Reads until the bytes end with `end` or the connection does.
    std::string readUntil(const std::string& end);
    /// Sends it all; "<pause 100>" is a pause of 100 ms. `cut`: byte by byte after the first four.
    void say(std::string_view text, bool cut = false);
    /// Closes with a reset instead of an orderly end.
    void reset();

    int fd;
};

/// A listening TCP socket on loopback.
class Listener {
  public:
    explicit Listener(int family = AF_INET);
    int port() const { return CSockAddr::localOf(sock.get()).port(); }
    /// The next connection, or one with descriptor -1 when none comes within 10 s.
    Connection accept();

    CDescriptor sock;
};

/// A program in the background: killed, with all it started, when the test ends. Its words are
/// shown if the test failed.
struct Program {
    explicit Program(const std::string& command);
    ~Program();

    pid_t pid;
};
