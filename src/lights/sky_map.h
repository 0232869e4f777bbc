// The sky's image as six faces of texels that cover nearly equal solid angles, and the sampling
// table over them. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"
#include "math/angles.h"

#include <array>

namespace mh {

// Texels per steradian; the warp of the faces makes this nearly the same everywhere.
constexpr float kTexelDensity = static_cast<float>(kSkyTexels) / (4.0f * kPi);

// Place in the image of a unit direction in the sky's own frame: longitude, latitude.
inline Vec2 sky_uv(const Vec3& d) {
    return {1.0f - (arc_tangent(d.y, d.x) + kPi) / kTwoPi, arc_cosine(d.z) / kPi};
}

constexpr std::size_t kSkySubsamples = 4; // of a texel along an edge

// Coordinates on the cube of all subsamples along an edge of a face, and their places in the image.
using SkyLine = std::array<float, kSkyFaceSize * kSkySubsamples>;
using SkyPlaces = std::array<Vec2, kSkyFaceSize * kSkySubsamples>;

// The places of a line of subsamples at the cube coordinate b, whose arcs run several at a time.
void place_sky_line(int face, const SkyLine& as, float b, SkyPlaces& places);

// The image, times the colour.
Vec3 sky_image_radiance(const Vec2& uv);

// Filters the image into the faces, keeps the radiance of the texels' corners and fills the table.
// An image that is black leaves the table empty.
void BuildSkyMap();

// Coordinate on the cube, from 1 down to -1, of a face's line between texels, 0 to kSkyFaceSize.
float sky_edge(int line);

// Unit direction of a point of a face by its cube coordinates a (along a row) and b.
Vec3 sky_cube_direction(int face, float a, float b);

// Cube map addressing: direction of continuous texel coordinates, and texel of a direction as
// face * 65536 + 256 y + x.
Vec3 sky_face_direction(int face, float x, float y);
std::int32_t sky_texel(const Vec3& direction);

// Direction of the corner of a texel that the table was picked for.
Vec3 sky_texel_direction(std::int32_t texel);

// Filtered radiance of a texel of the map.
Vec3 sky_map_radiance(std::int32_t texel);

} // namespace mh
