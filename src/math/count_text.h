// Numbers of things in messages.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace mh {

// "1 face", "3 faces"; a plural that is not made by an s is given.
std::string CountText(std::int64_t count, const std::string& one, const std::string& more = {});

} // namespace mh
