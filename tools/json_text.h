// Text of JSON, [RFC8259].
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace mh {

using Json = nlohmann::ordered_json; // members keep their order

// On one line, with its end. Bytes that are not UTF-8 become U+FFFD, numbers that are not finite
// null.
std::string JsonLine(const Json& json);

} // namespace mh
