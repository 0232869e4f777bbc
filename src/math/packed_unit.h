// Unit vectors in three signed bytes: the storage of vertex normals and tangents.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>

namespace mh {

// A zero triple says that there is no vector.
struct PackedUnit {
    std::int8_t x = 0, y = 0, z = 0;
};

constexpr bool operator==(const PackedUnit& a, const PackedUnit& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

constexpr bool is_zero(const PackedUnit& p) {
    return p == PackedUnit{};
}

// Normalises, multiplies by 128, cuts towards zero and limits to -127..127. Anything that is not
// finite packs to the zero triple.
PackedUnit pack_unit(const Vec3& v);

// Unit length, or zero for the zero triple.
Vec3 unpack_unit(const PackedUnit& p);

} // namespace mh
