// The tables of lights.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"

namespace mh {

struct LightsStateRecord {
    std::vector<PointLight> point_lights;
    std::vector<ParallelLight> parallel_lights;
    SkyLightRecord sky_light;
    GeometryLightRecord geometry_light;
};

[[gnu::visibility("hidden")]] extern LightsStateRecord LightsState;

inline constexpr auto& PointLights = LightsState.point_lights;
inline constexpr auto& ParallelLights = LightsState.parallel_lights;
inline constexpr auto& SkyLight = LightsState.sky_light;
inline constexpr auto& GeometryLight = LightsState.geometry_light;

// At the end of a scene.
void ResetLights();

} // namespace mh
