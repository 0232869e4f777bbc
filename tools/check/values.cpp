// Ranges and uses of keys, as the tables of keys state them.
// SPDX-License-Identifier: MIT
#include "check/values.h"

#include "math/at.h"
#include "scene/scene_text.h"

#include <cmath>
#include <cstdio>

namespace mh {

namespace {

std::string text_of(double number) {
    char text[32] = {};
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

std::string in_words(const Range& range) {
    const std::string lowest = text_of(range.lowest), highest = text_of(range.highest);
    if (std::isinf(range.highest))
        return (range.without_ends ? "has to be above " : "has to be at least ") + lowest;
    if (range.without_ends) return "has to be between " + lowest + " and " + highest;
    return "has to be " + lowest + " to " + highest;
}

bool contains(const Range& range, double number) {
    if (range.without_ends) return number > range.lowest && number < range.highest;
    return number >= range.lowest && number <= range.highest;
}

double number_of(const ReadNote& note, int index) {
    const auto i = to_size(index);
    if (note.key->kind == ValueKind::real) return static_cast<double>(note.values->reals[i]);
    return static_cast<double>(note.values->wholes[i]);
}

// The subject is what the range is of, in words.
void check_numbers(SceneLines& lines, const ReadNote& note, const Range& range,
                   const std::string& subject) {
    std::string_view rest = note.given, token;
    bool all_zero = true;
    for (int i = 0; i < note.values->count && take_word(rest, token); ++i) {
        const double number = number_of(note, i);
        all_zero = all_zero && number == 0.0;
        if (contains(range, number)) continue;
        return add_warning(lines, place_at(note, token.data()),
                           subject + " is " + std::string(token) + ": it " + in_words(range));
    }
    if (range.has_length && all_zero)
        add_warning(lines, place_of_word(note),
                    subject + " is a direction, but all its numbers are 0");
}

bool is_number(ValueKind kind) {
    return kind != ValueKind::text && kind != ValueKind::word && kind != ValueKind::block;
}

} // namespace

void CheckValues(SceneLines& lines, const ReadNote& note, const Key* opener) {
    const Key& key = *note.key;
    if (key.stored_only) add_warning(lines, place_of_word(note), in_quotes(key.name) + kStoredOnly);
    const bool is_slot_color = opener != nullptr && key.name == std::string_view("color");
    if (is_slot_color)
        check_numbers(lines, note, opener->range, "\"color\" of " + in_quotes(opener->name));
    else if (is_number(key.kind))
        check_numbers(lines, note, key.range, in_quotes(key.name));
    if (key.accepts != nullptr && key.choices.empty() && !key.accepts(*note.values))
        add_fault(lines, place_of_word(note),
                  std::string(key.name) + " takes " + key.wanted + "; the line is ignored");
    if (key.kind == ValueKind::word && note.values->text.starts_with('"'))
        add_warning(lines, place_of_word(note),
                    in_quotes(key.name) + " is a word: its quotes are part of the name");
}

} // namespace mh
