// A selection between two numbers by a condition that varies at random, where a branch would be
// mispredicted every other time.
// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>

namespace mh {

// first ? a : b, by the bits.
constexpr float select(bool first, float a, float b) {
    const std::uint32_t mask = first ? ~0u : 0u;
    return std::bit_cast<float>((std::bit_cast<std::uint32_t>(a) & mask)
                                | (std::bit_cast<std::uint32_t>(b) & ~mask));
}

} // namespace mh
