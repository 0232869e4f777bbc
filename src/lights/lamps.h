// The emitting faces of the scene as the exact estimator lights and casts photons with them: every
// face in every instance, with what it emits. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/emitters.h"
#include "lights/types.h"

namespace mh {

// Finds all lamps of the scene and builds what they are drawn from.
void CollectLamps(LampSet& set);

// Radiance from a point of a lamp into a direction, as a ray that meets it sees it on average: the
// layers of the side by their weights, less what their Fresnel term keeps. `sampled`: of the layers
// that are virtual lights alone.
Vec3 uneven_emission(const Lamp& lamp, const Vec3& position, const Vec3& direction, bool sampled);

inline Vec3 lamp_emission(const Lamp& lamp, const Vec3& position, const Vec3& direction,
                          bool sampled) {
    return lamp.even ? lamp.emission : uneven_emission(lamp, position, direction, sampled);
}

// The point of the lamps that u in [0, 1) picks by power, and ab on its face; the emission is
// scaled so that photons of equal area times emission carry all light. False when nothing emits.
bool sample_lamp_power(float u, const Vec2& ab, EmitterPoint& point);

} // namespace mh
