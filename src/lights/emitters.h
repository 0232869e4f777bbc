// Points on the emitting faces of the scene, through all instances: the source of the geometry
// light's samples and photons. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "hit/ray.h"

namespace mh {

// Of the root of the scene; null without objects.
const LightLists* root_lights();

struct EmitterPoint {
    Vec3 position;
    Vec3 normal; // unit, of the side that emits
    Vec3 emission;
    float primitive_area = 0.0f; // in the space of its object
    float rounding = 0.0f;       // how far the position may lie off the face
    std::int32_t primitive = 0;
    std::int32_t shader = 0;
    HitKind kind = HitKind::triangle;
    bool front = true;
    bool virtual_light = false; // of some layer of the side
};

// The face that u in [0, 1) picks by area, at the point of the unit square's ab. False when u leads
// to an instance that cannot be followed.
bool sample_emitter(float u, const Vec2& ab, EmitterPoint& point);

} // namespace mh
