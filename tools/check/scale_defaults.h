// Settings and radii that depend on the size of the scene, where the scene gives none: the
// library's own numbers suit rooms measured in metres.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/scene_lines.h"
#include "math/box.h"

#include <cstdint>
#include <vector>

namespace mh {

// Of all geometry as it was read, instances included; for the objects in an order with the targets
// of instances first.
Aabb BoxOfScene(const std::vector<std::uint32_t>& targets_first, std::uint32_t root);

// Fills in what the lines of the scene leave open.
void FillInScale(const SceneLines& lines);

struct GatherScale {
    float distance = 1.0f, resolution = 1.0f, radius = 1.0f;
};

// Of the scene that was filled in last, whether it asked for them or not.
const GatherScale& GatherScaleOfScene();

} // namespace mh
