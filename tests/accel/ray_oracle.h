// All that a ray meets in the scene, found by plain loops in double precision.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "geometry/types.h"
#include "hit/ray.h"

#include <vector>

namespace mh::test {

// Float walks may decide either way where an oracle's quantity, of the order of 1, is this close to
// its limit: some hundred roundings.
constexpr double kDoubt = 2e-5;

enum class Query { closest, probe, shadow };

// A primitive met: certainly, or perhaps.
struct Meeting {
    double distance = 0.0, doubt = 0.0; // of the distance
    bool certain = false, front = false;
    Vec3 parameters; // hit_a, hit_b, hit_c
    PrimitiveKind kind = PrimitiveKind::triangle;
    std::uint32_t index = 0, shader = 0;
    const Part* part = nullptr;
    int level = 0;
};

// In any order, with the rules of exclusion and visibility; ray.distance does not limit it.
std::vector<Meeting> all_meetings(Query query, const Ray& ray);

} // namespace mh::test
