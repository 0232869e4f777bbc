// Division of polygons into triangles.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace mh {

using PolygonTriangle = std::array<std::uint32_t, 3>; // numbers of corners

// n - 2 triangles of n corners, wound like the polygon: ears are cut off [Meisters75] in the plane
// across the polygon's normal. A polygon that crosses itself, or has no
// area, gives as many, some of them turned over.
std::vector<PolygonTriangle> SplitPolygon(std::span<const Vec3> corners);

} // namespace mh
