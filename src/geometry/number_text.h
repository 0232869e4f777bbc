// Numbers in text files, read alike under every locale.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

// A range of characters that is consumed from its front.
struct TextCursor {
    const char* next = nullptr;
    const char* end = nullptr;
};

constexpr bool at_end(const TextCursor& text) {
    return text.next == text.end;
}

constexpr bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

inline void skip_blanks(TextCursor& text) {
    while (!at_end(text) && is_blank(*text.next))
        ++text.next;
}

// Consumes the longest leading text that forms a decimal number: sign, digits with a point,
// exponent. Returns 0 and consumes nothing when there is none; "nan" and "inf" are none. What
// exceeds a float becomes infinite.
float read_real(TextCursor& text);

// The same for an optional sign and digits; limited to +-2^40.
std::int64_t read_whole(TextCursor& text);

} // namespace mh
