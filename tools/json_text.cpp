// Text of JSON.
// SPDX-License-Identifier: MIT
#include "json_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace mh {

namespace {

// Bytes of the UTF-8 character at the start; 0 when there is none, [RFC3629].
std::size_t utf8_length(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80                    ? 1
                               : lead >= 0xC2 && lead <= 0xDF ? 2
                               : lead >= 0xE0 && lead <= 0xEF ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    if (length == 0 || length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return 0;
    return length;
}

void append_plain(std::string& json, char c) {
    if (c == '"' || c == '\\') {
        json += '\\';
        json += c;
    } else if (static_cast<unsigned char>(c) < ' ') {
        char code[8] = {};
        std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
        json += code;
    } else {
        json += c;
    }
}

} // namespace

std::string JsonString(std::string_view text) {
    std::string json = "\"";
    while (!text.empty()) {
        const std::size_t length = utf8_length(text);
        if (length == 0)
            json += '?';
        else if (length == 1)
            append_plain(json, text[0]);
        else
            json += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return json + '"';
}

std::string JsonNumber(double value) {
    if (!std::isfinite(value)) return "null";
    char digits[32] = {};
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    return std::string(digits, end);
}

JsonObject& add(JsonObject& object, std::string_view name, const std::string& json) {
    object.text += object.text.empty() ? "" : ", ";
    object.text += JsonString(name) + ": " + json;
    return object;
}

std::string closed(const JsonObject& object) {
    return '{' + object.text + '}';
}

std::string JsonArray(std::span<const std::string> values) {
    std::string text;
    for (const std::string& value : values)
        text += (text.empty() ? "" : ", ") + value;
    return '[' + text + ']';
}

} // namespace mh
