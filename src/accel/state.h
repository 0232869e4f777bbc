// What the assembly of a scene makes, and the kernel that walks it.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "accel/walk_types.h"

namespace mh {

struct AccelStateRecord {
    std::vector<Tree> trees;             // one per object
    std::vector<LightLists> light_lists; // one per object
    std::uint32_t root_object_index = 0;
    Aabb scene_bounds;
    Vec3 scene_center;
    float scene_radius = 0.0f; // half the diagonal of the bounds
};

[[gnu::visibility("hidden")]] extern AccelStateRecord AccelState;

inline constexpr auto& Trees = AccelState.trees;
inline constexpr auto& LightListsOfObjects = AccelState.light_lists;
inline constexpr auto& RootObjectIndex = AccelState.root_object_index;
inline constexpr auto& SceneBounds = AccelState.scene_bounds;
inline constexpr auto& SceneCenter = AccelState.scene_center;
inline constexpr auto& SceneRadius = AccelState.scene_radius;

// At the end of a scene.
void ResetAccel();

// Of this processor: the widest kernel that it runs, and the one in use.
[[gnu::visibility("hidden")]] extern const WalkKernel *WidestWalks, *CurrentWalks;

// 0 keeps OccludeLog from counting.
extern std::int32_t OcclusionLogging;

} // namespace mh
