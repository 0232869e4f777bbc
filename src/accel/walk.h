// All visibility questions: rays against the trees of the scene. Walks allocate nothing, are called
// by all threads at once and only read the trees.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"

namespace mh {

// Picks the widest kernel that the processor runs; at startup. Both give bit-identical results.
void SelectWalks();

// "AVX2" or "portable".
const char* WalkName();

// For tests and benchmarks: forces the portable kernel (false) or the one of SelectWalks (true).
void UseVectorWalks(bool vector);

// Nearest hit along the ray: limit kFar, counts one ray, normalises the direction. Returns whether
// something was hit, with distance, hit_*, front_side, hit_instance_level, hit_in_root filled in.
// Rays that are not finite hit nothing.
bool closest_hit(Ray& ray);

// The same within ray.distance and for triangles, tetragons and instances only; the direction is
// not normalised.
bool probe_hit(Ray& ray);

// Transparency between origin and ray.distance along direction, into ray.weight: (1, 1, 1) or
// black. Ignores the primitives (source_kind, source_primitive) and (hit_kind, hit_primitive).
void shadow_query(Ray& ray);

// The same, and counts the occlusion in Tree::occlusion_log for ReorderTree, unless
// OcclusionLogging is 0. Renders call shadow_query alone.
void OccludeLog(Ray& ray);

} // namespace mh
