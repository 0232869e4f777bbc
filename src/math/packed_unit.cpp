// Packing of unit vectors into three signed bytes.
// SPDX-License-Identifier: MIT
#include "math/packed_unit.h"

#include "math/roots.h"

#include <algorithm>

namespace mh {

namespace {

std::int8_t pack_component(float x) {
    constexpr float kScale = 128.0f, kLimit = 127.0f;
    return static_cast<std::int8_t>(std::clamp(x * kScale, -kLimit, kLimit));
}

} // namespace

PackedUnit pack_unit(const Vec3& v) {
    const Vec3 n = normalize(v);
    if (!is_finite(n)) return {};
    return {pack_component(n.x), pack_component(n.y), pack_component(n.z)};
}

Vec3 unpack_unit(const PackedUnit& p) {
    return normalize(
        Vec3{static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)});
}

} // namespace mh
