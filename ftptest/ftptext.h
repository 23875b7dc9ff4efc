// The texts of the FTP dialogue: replies scanned, the endpoints of PASV, PORT and EPRT.
#pragma once

#include <netinet/in.h>

#include <array>
#include <cstddef>

/// How far a reply has come.
enum class EReply { complete, unfinished, malformed };

/// Looks at the lines of a reply as they arrive.
class CReplyScanner {
  public:
    /// Scans `length` bytes: the unfinished rest of the last scan, if any, with what came behind
    /// it. `*rest` becomes the offset of what is not a complete line yet.
    EReply scan(const char* text, size_t length, size_t* rest);

  protected:
    bool m_final = false;  ///< a final line was seen; stays set for the rest of the reply
};

/// A reply's text from its fifth character on; empty for a shorter one.
const char* ftp_reply_text(const char* reply);

/// Matches the text of a 227 reply like sscanf with "Entering Passive Mode (%u,%u,%u,%u,%u,%u)":
/// the numbers are taken modulo 2^32, unchecked. False unless there are six. Servers that leave out
/// the closing parenthesis or put blanks before a number are understood; other words are not.
bool ftp_parse_pasv(const char* text, std::array<unsigned int, 6>* numbers);

/// Writes the argument of PORT, "h1,h2,h3,h4,p1,p2", and prints it; needs a `size` above 23, else
/// `buf` is left alone. The last of its bytes becomes NUL. `addr` is in network byte order, `port`
/// in the host's.
void ip_address_to_port_repr(in_addr addr, int port, char* buf, unsigned int size);

/// The argument of EPRT for an IPv6 endpoint, "|2|address|port|" (RFC 2428).
std::array<char, 64> ftp_eprt_argument(const in6_addr& addr, int port);
