// Text of JSON objects and arrays, built value by value, [RFC8259].
// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace mh {

// A string with its quotes; bytes that are no UTF-8 become question marks.
std::string JsonString(std::string_view text);

// As short as reads back to the same value; null for what is not finite.
std::string JsonNumber(double value);

// "{...}" from member to member; values are JSON already.
struct JsonObject {
    std::string text;
};

JsonObject& add(JsonObject& object, std::string_view name, const std::string& json);
std::string closed(const JsonObject& object);

std::string JsonArray(std::span<const std::string> values);

} // namespace mh
