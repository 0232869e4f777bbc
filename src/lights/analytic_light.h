// What point and parallel lights share. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/light_shot.h"

namespace mh {

// The light's samples at the hit, added to its AOVs; nothing when the hit's shader isn't linked.
LightSplit direct_analytic(Light& light, const Ray& ray, const SurfacePoint& point, AddSample add);

// One sample of light `light` (what a white surface that faces it returns) from that direction.
// Clamps the cosines where they are wrapped by the light's offset.
void add_analytic(const LightShot& shot, const Vec3& direction, float distance, const Vec3& light,
                  bool wrapped, LightSplit& sum);

// Sets the cone of half angle `angle_rad`: its cosine, and 1 - cosine without cancellation.
void SetCone(Light& light, float angle_rad);

} // namespace mh
