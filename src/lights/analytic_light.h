// What point and parallel lights share. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/light_shot.h"

namespace mh {

// The light's samples at the hit, added to its AOVs; nothing when the hit's shader isn't linked.
LightSplit direct_analytic(Light& light, const Ray& ray, const SurfacePoint& point, AddSample add);

// One sample: arrival.light is what a white surface that faces it returns. Wrapped: cosines are
// lowered by the light's offset.
void add_analytic(const LightShot& shot, Arrival arrival, float distance, bool wrapped,
                  LightSplit& sum);

// Sets the cone of half angle `angle_rad`: its cosine, and 1 - cosine without cancellation.
void SetCone(Light& light, float angle_rad);

} // namespace mh
