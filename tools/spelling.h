// The nearest legal word to one that is not.
// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace mh {

// Empty when none is near: one slip in three letters, and one at least, ignoring case. Words of
// more than 64 letters are not compared.
std::string NearestWord(std::string_view word, std::span<const std::string_view> legal);

} // namespace mh
