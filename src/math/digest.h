// A 64-bit digest of bytes: distinguishes files and scenes, and is no defence against forgery.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

namespace mh {

struct Digest {
    std::uint64_t value = 0;
};

// Adds the bytes and their number.
void add(Digest& digest, std::string_view bytes);

} // namespace mh
