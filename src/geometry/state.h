// The table of objects, and what finishing them took.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

struct GeometryStateRecord {
    std::vector<Object> objects;
    std::int64_t smoothing_time_ms = 0, displacement_time_ms = 0;
};

[[gnu::visibility("hidden")]] extern GeometryStateRecord GeometryState;

inline constexpr auto& Objects = GeometryState.objects;
inline constexpr auto& SmoothingTimeMs = GeometryState.smoothing_time_ms;
inline constexpr auto& DisplacementTimeMs = GeometryState.displacement_time_ms;

// At the end of a scene.
void ResetGeometry();

// Folders of geometry files, in the order in which they are tried; kept from scene to scene.
extern std::vector<std::string> GeometrySearchPaths;

} // namespace mh
