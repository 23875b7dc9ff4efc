// The scanners of a response head. They look at no byte beyond the length they are given, and end
// at a NUL byte.
#pragma once

#include <cstdlib>
#include <memory>
#include <string_view>

/// Looks for the empty line that ends a head, CR LF CR LF. Returns 1 when it is there, else 0;
/// `*tail` (if not null) becomes the position behind it, or null.
int httphd_find_tail(const char* buf, int len, const char** tail);

/// Finds the end of a head that arrives in pieces, looking at each byte once.
class CTailFinder {
  public:
    /// As httphd_find_tail, in a buffer that holds `fill` bytes by now.
    bool find(const char* buffer, size_t fill, const char** tail);

  protected:
    size_t m_seen = 0;
    bool m_ended = false;
};

/// Returns a NUL-terminated copy of the first line of `text`, without the CR LF or lone LF that
/// ends it. The caller frees it with free(); null when memory is short. `*begin` (if not null)
/// becomes `text`, `*next` (if not null) the position behind the line.
char* httphd_get_line(const char* text, int len, const char** begin, const char** next);

struct CFreeText {
    void operator()(char* text) const { std::free(text); }
};

/// Owner of a line.
using HttpLine = std::unique_ptr<char, CFreeText>;

/// Takes the next token off `rest`, as strtok does: separators before it are passed over, and the
/// one that ends it is taken too. Null data when there is no token.
std::string_view httphd_next_token(std::string_view* rest, const char* separators);
