// Right-handed tangent frames.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

namespace mh {

// The branch-free frame of a unit normal n, [Frisvad12]: tangent, bitangent and n are orthonormal.
// n close to (0, 0, -1) gets tangent (0, -1, 0) and bitangent (-1, 0, 0).
inline void tangent_frame(const Vec3& n, Vec3& tangent, Vec3& bitangent) {
    constexpr float kPole = -0.9999999f; // 1 + z has no digits left below it
    if (n.z < kPole) {
        tangent = {0.0f, -1.0f, 0.0f};
        bitangent = {-1.0f, 0.0f, 0.0f};
        return;
    }
    const float a = 1.0f / (1.0f + n.z);
    const float b = -a * n.x * n.y;
    tangent = {1.0f - a * n.x * n.x, b, -n.x};
    bitangent = {b, 1.0f - a * n.y * n.y, -n.y};
}

// local.x * tangent + local.y * bitangent + local.z * normal.
constexpr Vec3 from_frame(const Vec3& local, const Vec3& tangent, const Vec3& bitangent,
                          const Vec3& normal) {
    return local.x * tangent + local.y * bitangent + local.z * normal;
}

} // namespace mh
