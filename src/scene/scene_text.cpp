// Lines, words, numbers and quoted strings of scene files.
// SPDX-License-Identifier: MIT
#include "scene/scene_text.h"

#include "math/at.h"

#include <algorithm>
#include <charconv>

namespace mh {

namespace {

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

void skip_blanks(std::string_view& rest) {
    rest.remove_prefix(
        to_size(std::find_if_not(rest.begin(), rest.end(), is_blank) - rest.begin()));
}

std::size_t sign_length(std::string_view text) {
    return !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
}

std::size_t digits_length(std::string_view text) {
    return to_size(std::find_if_not(text.begin(), text.end(), is_digit) - text.begin());
}

// Length of the longest real number at the start; 0 when there is none. An exponent mark without
// digits makes it none, as with stream extraction.
std::size_t real_length(std::string_view text) {
    std::size_t length = sign_length(text);
    std::size_t digits = digits_length(text.substr(length));
    length += digits;
    if (length < text.size() && text[length] == '.') {
        const std::size_t fraction = digits_length(text.substr(++length));
        digits += fraction;
        length += fraction;
    }
    if (digits == 0) return 0;
    if (length == text.size() || (text[length] != 'e' && text[length] != 'E')) return length;
    length += 1 + sign_length(text.substr(length + 1));
    const std::size_t exponent = digits_length(text.substr(length));
    return exponent == 0 ? 0 : length + exponent;
}

// from_chars does not accept a plus sign.
const char* after_plus(std::string_view number) {
    return number.data() + (number[0] == '+' ? 1 : 0);
}

} // namespace

bool next_line(SceneText& text, std::string_view& line) {
    if (text.position >= text.content.size()) return false;
    line = std::string_view(text.content).substr(text.position);
    line = line.substr(0, line.find('\n'));
    text.position += line.size() + 1;
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.size() > kMaxLineLength) {
        text.position = text.content.size();
        text.line_too_long = true;
        return false;
    }
    line = line.substr(0, line.find('\0'));
    ++text.line_number;
    return true;
}

bool take_word(std::string_view& rest, std::string_view& word) {
    skip_blanks(rest);
    if (rest.empty()) return false;
    const auto end = std::find_if(rest.begin(), rest.end(), is_blank);
    word = rest.substr(0, to_size(end - rest.begin()));
    rest.remove_prefix(word.size());
    return true;
}

bool take_whole(std::string_view& rest, std::int64_t lowest, std::int64_t highest,
                std::int64_t& value) {
    skip_blanks(rest);
    const std::size_t sign = sign_length(rest), length = sign + digits_length(rest.substr(sign));
    if (length == sign) return false;
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(after_plus(rest), rest.data() + length, number);
    if (error != std::errc() || number < lowest || number > highest) return false;
    value = number;
    rest.remove_prefix(length);
    return true;
}

bool take_real(std::string_view& rest, float& value) {
    skip_blanks(rest);
    const std::string_view number = rest.substr(0, real_length(rest));
    if (number.empty()) return false;
    float result = 0.0f;
    const auto [end, error] =
        std::from_chars(after_plus(number), number.data() + number.size(), result);
    // Too small for a float: counts as 0.
    const bool tiny = number.find("e-") != number.npos || number.find("E-") != number.npos;
    if (error != std::errc() && !tiny) return false;
    value = error == std::errc() ? result : 0.0f;
    rest.remove_prefix(number.size());
    return true;
}

std::string_view take_quoted(std::string_view& rest) {
    const std::size_t open = rest.find('"');
    if (open == rest.npos) return rest = {};
    rest.remove_prefix(open + 1);
    const std::string_view quoted = rest.substr(0, rest.find('"'));
    rest.remove_prefix(std::min(rest.size(), quoted.size() + 1));
    return quoted;
}

} // namespace mh
