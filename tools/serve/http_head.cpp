// Request heads, [RFC9112], and numbers in their queries.
// SPDX-License-Identifier: MIT
#include "serve/http_head.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace mh {

namespace {

constexpr int kBadRequest = 400, kBadMethod = 405, kTooLarge = 413, kHeadTooLarge = 431,
              kBadVersion = 505;
constexpr std::size_t kMostHeaders = 64, kMostValues = 16;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool is_letter_or_digit(char c) {
    return (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9');
}

bool equals(std::string_view text, std::string_view lower_case) {
    return std::equal(text.begin(), text.end(), lower_case.begin(), lower_case.end(),
                      [](char a, char b) { return lower(a) == b; });
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// The text before the separator, which is removed with it; all where there is none.
std::string_view take(std::string_view& text, std::string_view separator) {
    const std::size_t end = text.find(separator);
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + separator.size());
    return part;
}

// Nothing that our page asks for needs escapes.
bool is_plain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return is_letter_or_digit(c) || std::string_view("-._~/,+=&").find(c) != std::string::npos;
    });
}

bool parse_query(std::string_view query, HttpHead& head) {
    while (!query.empty()) {
        std::string_view value = take(query, "&");
        const std::string_view name = take(value, "=");
        if (name.empty() || head.values.size() == kMostValues) return false;
        head.values.emplace_back(name, value);
    }
    return true;
}

int parse_request_line(std::string_view line, HttpHead& head) {
    head.method = take(line, " ");
    std::string_view target = take(line, " ");
    if (line != "HTTP/1.1" && line != "HTTP/1.0")
        return line.starts_with("HTTP/") ? kBadVersion : kBadRequest;
    if (line == "HTTP/1.0") head.keeps_connection = false;
    if (head.method != "GET" && head.method != "POST") return kBadMethod;
    head.path = take(target, "?");
    if (!head.path.starts_with('/') || !is_plain(head.path) || !is_plain(target))
        return kBadRequest;
    return parse_query(target, head) ? 0 : kBadRequest;
}

// A header that decides who may do what counts once; a second one is a trick.
int take_once(std::string& field, std::string_view value) {
    if (!field.empty()) return kBadRequest;
    field = value;
    return 0;
}

int parse_header(std::string_view line, HttpHead& head) {
    if (line.find(':') == line.npos) return kBadRequest;
    const std::string_view name = take(line, ":");
    const std::string_view value = trimmed(line);
    const bool is_name = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return is_letter_or_digit(c) || c == '-' || c == '_';
    });
    const bool has_controls =
        std::any_of(value.begin(), value.end(), [](char c) { return c >= 0 && c < ' '; });
    if (!is_name || has_controls) return kBadRequest;
    if (equals(name, "host")) return take_once(head.host, value);
    if (equals(name, "origin")) return take_once(head.origin, value);
    if (equals(name, "sec-fetch-site")) return take_once(head.fetch_site, value);
    if (equals(name, "cookie")) return take_once(head.cookies, value);
    if (equals(name, "connection") && equals(value, "close")) head.keeps_connection = false;
    if (equals(name, "content-length") && value != "0") return kTooLarge;
    return equals(name, "transfer-encoding") ? kTooLarge : 0; // no request has a body
}

template<typename T>
std::optional<T> parsed(const std::string& text) {
    T value = {};
    const char* const end = text.data() + text.size();
    const auto [stop, fault] = std::from_chars(text.data(), end, value);
    return fault == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

} // namespace

const std::string& HttpHead::value(std::string_view name) const {
    static const std::string none;
    for (const auto& [key, text] : values)
        if (key == name) return text;
    return none;
}

int ParseHead(std::string_view text, HttpHead& head) {
    head = {};
    if (text.size() > kLargestHead) return kHeadTooLarge;
    if (!text.ends_with("\r\n\r\n")) return kBadRequest;
    text.remove_suffix(2);
    if (const int fault = parse_request_line(take(text, "\r\n"), head)) return fault;
    for (std::size_t count = 0; !text.empty(); ++count) {
        if (count == kMostHeaders) return kHeadTooLarge;
        if (const int fault = parse_header(take(text, "\r\n"), head)) return fault;
    }
    return head.host.empty() ? kBadRequest : 0;
}

std::optional<double> NumberIn(const std::string& text) {
    const std::optional<double> value = parsed<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<int> WholeIn(const std::string& text, int lowest, int highest) {
    const std::optional<int> value = parsed<int>(text);
    return value && *value >= lowest && *value <= highest ? value : std::nullopt;
}

std::string CookieOf(const HttpHead& head, std::string_view name) {
    std::string_view rest = head.cookies;
    while (!rest.empty()) {
        std::string_view value = take(rest, ";");
        if (trimmed(take(value, "=")) == name) return std::string(trimmed(value));
    }
    return {};
}

} // namespace mh
