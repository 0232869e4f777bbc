// What a vertex carries besides position and frame: its entries in the arrays of its part.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Whether two vertices agree in every array that is not empty.
bool same_data(const Part& part, std::uint32_t a, std::uint32_t b);

// A hash that is equal for such vertices.
std::uint64_t hash_data(const Part& part, std::uint32_t vertex);

// The three bytes of a packed vector in the lowest 24 bits.
constexpr std::uint64_t unit_bits(const PackedUnit& u) {
    const auto byte = [](std::int8_t x) { return std::uint64_t{static_cast<std::uint8_t>(x)}; };
    return byte(u.x) << 16 | byte(u.y) << 8 | byte(u.z);
}

} // namespace mh
