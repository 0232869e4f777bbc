// The global tables of this folder.
// SPDX-License-Identifier: MIT
#include "accel/types.h"

namespace mh {

std::uint32_t RootObjectIndex = 0;
Aabb SceneBounds;
Vec3 SceneCenter;
float SceneRadius = 0.0f;

} // namespace mh
