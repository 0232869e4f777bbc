// The head of a request, read by strict rules before anything else looks at it: what a browser that
// shows our page does not send is refused.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mh {

// Bytes of the request line and all headers.
constexpr std::size_t kLargestHead = 8192;

struct HttpHead {
    std::string method;                                      // GET or POST
    std::string path;                                        // without the query, as it was sent
    std::vector<std::pair<std::string, std::string>> values; // of the query
    std::string host, origin, fetch_site, cookies;           // headers; empty where missing
    bool keeps_connection = true;

    // Empty where the query has no such name.
    const std::string& value(std::string_view name) const;
};

// 0, or the status with which the request is refused: 400, 405, 411, 413, 431, 505. The text ends
// with the empty line.
int ParseHead(std::string_view text, HttpHead& head);

// The number that a text is, from first to last character; finite, and nothing else.
std::optional<double> NumberIn(const std::string& text);

// A whole number within the limits.
std::optional<int> WholeIn(const std::string& text, int lowest, int highest);

// The value of a cookie, or an empty text.
std::string CookieOf(const HttpHead& head, std::string_view name);

} // namespace mh
