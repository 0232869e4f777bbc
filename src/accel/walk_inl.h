// The walks of a kernel, compiled once for each kind of processor.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/walk_nearest_inl.h"
#include "accel/walk_occluder_inl.h"

namespace mh {
namespace {

inline LocalRay root_ray(const WalkUnit* root, const WalkQuery& query) {
    return {triple(*query.origin), triple(*query.direction), root};
}

template<Walk walk>
bool start_nearest(const WalkUnit* root, WalkQuery& query) {
    const LocalRay local = root_ray(root, query);
    return walk_nearest<walk>(root, walk_ray(local, triple(*query.inverse)), query, 0);
}

template<Walk walk>
bool start_occluder(const WalkUnit* root, WalkQuery& query) {
    const LocalRay local = root_ray(root, query);
    return walk_occluder<walk>(root, walk_ray(local, triple(*query.inverse)), query, 0);
}

} // namespace
} // namespace mh
