// URLs taken apart and GET requests put together.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

/// The parts of a URL; they point into it.
struct SHttpUrl {
    std::string_view scheme;
    std::string_view host;
    std::string_view port;
    std::string_view path;
    std::string_view query;
};

/// Longest scheme.
constexpr size_t http_scheme_max = 63;

/// Splits a URL at the first ":" or "/" or "?" or "#" that ends each part; the fragment is dropped.
/// A part that is not there is empty. A scheme counts only when "://" ends it within that length.
SHttpUrl http_split_url(std::string_view url);

/// Room for the longest request.
constexpr size_t http_request_size = 2048;

using HttpRequest = std::array<char, http_request_size>;

/// Builds the request for `target`, and for `query` too unless that is empty. Returns its length.
size_t http_build_request(const char* target, const char* query, const char* host, const char* port,
                          HttpRequest* request);
