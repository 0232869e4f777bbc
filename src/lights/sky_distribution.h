// The sky's image as the exact estimator samples it: a map of texels in floats, each the mean over
// its true solid angle, with the exact density of every direction. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"

namespace mh {

// Filters the image into SkyLight.distribution; an image that is black leaves it empty.
void BuildSkyDistribution();

// A direction for uv in the unit square, its radiance and its density, 1/sr.
struct SkyDraw {
    Vec3 direction, radiance;
    float density = 0.0f;
};

SkyDraw draw_sky(const Vec2& uv);

// The same in two steps: which texels uv chooses among, which are asked for, and the choice.
SkyPlace find_sky(const Vec2& uv);
SkyDraw sky_draw_at(const SkyPlace& place);

// The same for a unit direction that a ray took, in this texel.
SkyDraw seen_sky(const Vec3& direction, std::int32_t texel);

// Has the processor fetch the texel.
void prefetch_texel(std::int32_t texel);

std::size_t size_bytes(const SkyDistribution& sky);

} // namespace mh
