// The page itself, made one text when the program is built.
// SPDX-License-Identifier: MIT
#include "serve/page_reply.h"

#include <string_view>

namespace mh {

extern const unsigned char kPageBytes[];
extern const std::size_t kPageSize;

namespace {

constexpr std::string_view kNonce = "@NONCE@";

std::string with_nonce(std::string_view page, const std::string& nonce) {
    std::string text;
    for (;;) {
        const std::size_t place = page.find(kNonce);
        text += page.substr(0, place);
        if (place == page.npos) return text;
        text += nonce;
        page.remove_prefix(place + kNonce.size());
    }
}

} // namespace

Reply PageReply(const Access& access) {
    const std::string nonce = MakeToken();
    return {.type = "text/html; charset=utf-8",
            .body = with_nonce({reinterpret_cast<const char*>(kPageBytes), kPageSize}, nonce),
            .headers = {{"Set-Cookie", CookieText(access)},
                        {"Content-Security-Policy",
                         "default-src 'none'; script-src 'nonce-" + nonce + "'; style-src 'nonce-"
                             + nonce
                             + "'; img-src 'self' data: blob:; connect-src 'self'; "
                               "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
                        {"Cache-Control", "no-store"},
                        {"Referrer-Policy", "no-referrer"},
                        {"X-Content-Type-Options", "nosniff"},
                        {"X-Frame-Options", "DENY"},
                        {"Cross-Origin-Opener-Policy", "same-origin"},
                        {"Cross-Origin-Resource-Policy", "same-origin"}}};
}

Reply NothingThere() {
    return {.status = 404, .body = "there is nothing here\n"};
}

Reply JsonReply(std::string json) {
    return {.type = "application/json",
            .body = std::move(json),
            .headers = {{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}}};
}

} // namespace mh
