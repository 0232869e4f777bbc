// The text of a scene file: its lines, and the words, numbers and quoted strings of a line.
// Independent of the locale; nothing is copied but the strings that are asked for.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mh {

// The longest line that is read; a longer one ends the reading of its file.
constexpr std::size_t kMaxLineLength = 4095;

// A file in memory, handed out line by line.
struct SceneText {
    std::string content;
    std::size_t position = 0;
    int line_number = 0;        // of the line last handed out, from 1
    bool line_too_long = false; // the text ended with such a line, the next one
};

// The next line without its line end, cut at a zero byte. False at the end of the text.
bool next_line(SceneText& text, std::string_view& line);

// Each takes what it reads off the front of the rest of the line, blanks before it included. False,
// with nothing stored, when the rest doesn't begin with such a value; the caller then leaves the
// line alone.
bool take_word(std::string_view& rest, std::string_view& word);
// Decimal digits with an optional sign, at least `lowest` and at most `highest`.
bool take_whole(std::string_view& rest, std::int64_t lowest, std::int64_t highest,
                std::int64_t& value);
// Digits with an optional sign, point and exponent; numbers beyond a float's range are refused.
bool take_real(std::string_view& rest, float& value);

// What stands between the first double quote and the next, or the end of the line; empty without
// a double quote.
std::string_view take_quoted(std::string_view& rest);

} // namespace mh
