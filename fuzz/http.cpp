// Heads of requests to the live view: whatever is taken has the form that answers rely on, and
// nobody gets in without the token.
// SPDX-License-Identifier: MIT
#include "harness.h"
#include "serve/access.h"

#include <cmath>
#include <cstdlib>

namespace mh::fuzz {

namespace {

constexpr const char* kToken = "0123456789abcdef0123456789abcdef";

void require(bool holds) {
    if (!holds) std::abort();
}

bool is_clean(const std::string& text) {
    return text.find_first_of(std::string("\r\n\0 %<>\"\\", 9)) == text.npos;
}

void check_head(const HttpHead& head) {
    require(head.method == "GET" || head.method == "POST");
    require(head.path.starts_with('/') && is_clean(head.path) && !head.host.empty());
    require(head.host.find_first_of("\r\n") == head.host.npos);
    for (const auto& [name, value] : head.values) {
        require(!name.empty() && is_clean(name) && is_clean(value));
        if (const auto number = NumberIn(value)) require(std::isfinite(*number));
        if (const auto whole = WholeIn(value, -5, 7)) require(*whole >= -5 && *whole <= 7);
    }
}

} // namespace

void Try(std::string_view input) {
    HttpHead head;
    if (ParseHead(input, head) != 0) return;
    check_head(head);
    const Access access = {kToken, "moonhare_01234567", "127.0.0.1"};
    if (Refusal(access, head) == 0)
        require(head.cookies.find(kToken) != head.cookies.npos || head.value("token") == kToken);
}

} // namespace mh::fuzz
