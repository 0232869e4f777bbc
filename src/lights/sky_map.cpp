// Addressing and construction of the sky's map. A warp by the arc sine spreads the texels of a face
// evenly over the sphere.
// SPDX-License-Identifier: MIT
#include "lights/sky_map.h"

#include "lights/sky_light.h"
#include "math/roots.h"
#include "math/threads.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mh {

namespace {

constexpr float kHalfFace = 0.5f * kSkyFaceSize;
constexpr int kFaceTexels = kSkyFaceSize * kSkyFaceSize;
constexpr int kSubsamples = 4; // per texel and axis

// Face coordinate c in [-1, 1] to the coordinate on the cube: s / sqrt(1/2 - s^2) with
// s = sin(pi / 6 c).
float warp(float c) {
    const float s = std::sin(kPi / 6.0f * c);
    return s / safe_root(0.5f - s * s);
}

float unwarp(float t) {
    const float s = t / safe_root(2.0f + 2.0f * t * t);
    return 6.0f / kPi * std::asin(std::clamp(s, -1.0f, 1.0f));
}

// Direction of cube coordinates a (against the columns) and b (against the rows) of a face.
Vec3 cube_direction(int face, float a, float b) {
    switch (face) {
    case 0: return normalize({1.0f, b, a});
    case 1: return normalize({-a, b, 1.0f});
    case 2: return normalize({-1.0f, b, -a});
    case 3: return normalize({a, b, -1.0f});
    case 4: return normalize({a, 1.0f, b});
    default: return normalize({-a, -1.0f, b});
    }
}

std::int32_t texel_of(int face, float a, float b) {
    const auto cell = [](float c) {
        const float x = kHalfFace * (1.0f - unwarp(c));
        return x > 0.0f ? static_cast<int>(std::min(x, kSkyFaceSize - 1.0f)) : 0;
    };
    const int column = cell(a), row = cell(b);
    return face * kFaceTexels + row * kSkyFaceSize + column;
}

// Warped coordinates of all subsamples along an edge: the build and the samples would otherwise
// spend their time on sines.
using EdgeTable = std::array<float, kSkyFaceSize * kSubsamples>;

const EdgeTable kEdge = [] {
    EdgeTable edge;
    for (std::size_t i = 0; i < edge.size(); ++i)
        edge[i] = warp(1.0f - static_cast<float>(i) / (kSubsamples * kHalfFace));
    return edge;
}();

// Column i and row j count subsamples.
Vec3 subsample_direction(int face, int i, int j) {
    return cube_direction(face, kEdge[static_cast<std::size_t>(i)],
                          kEdge[static_cast<std::size_t>(j)]);
}

// Sum over the subsamples of a texel; the first of them is its corner.
Vec3 sum_texel(int face, int column, int row, Vec3& corner) {
    Vec3 sum;
    for (int j = 0; j < kSubsamples; ++j) {
        for (int i = 0; i < kSubsamples; ++i) {
            const Vec3 value = sky_direction_radiance(
                subsample_direction(face, column * kSubsamples + i, row * kSubsamples + j));
            if (i == 0 && j == 0) corner = value;
            sum += value;
        }
    }
    return sum;
}

void build_face(int face) {
    std::vector<Rgbe>& texels = SkyLight.faces[static_cast<std::size_t>(face)];
    texels.assign(kFaceTexels, {});
    for (int i = 0; i < kFaceTexels; ++i) {
        Vec3& corner = SkyLight.sky_corners[static_cast<std::size_t>(face * kFaceTexels + i)];
        const Vec3 sum = sum_texel(face, i % kSkyFaceSize, i / kSkyFaceSize, corner);
        texels[static_cast<std::size_t>(i)] = encode_rgbe(sum / float{kSubsamples * kSubsamples});
        set_weight(SkyLight.sky_table, face * kFaceTexels + i, max_channel(sum));
    }
}

} // namespace

void BuildSkyMap() {
    CreateSampler(SkyLight.sky_table, kSkyTexels);
    SkyLight.sky_corners.assign(kSkyTexels, {});
#pragma omp parallel for schedule(dynamic, 1) num_threads(team_size())
    for (int face = 0; face < kSkyFaces; ++face)
        build_face(face);
    FinishSampler(SkyLight.sky_table);
}

Vec3 sky_face_direction(int face, float x, float y) {
    return cube_direction(face, warp(1.0f - x / kHalfFace), warp(1.0f - y / kHalfFace));
}

std::int32_t sky_texel(const Vec3& direction) {
    const Vec3& d = direction;
    const float x = std::fabs(d.x), y = std::fabs(d.y), z = std::fabs(d.z);
    if (!(y > x) && !(z > x)) return texel_of(d.x < 0.0f ? 2 : 0, d.z / d.x, d.y / x);
    if (!(z > y)) return texel_of(d.y < 0.0f ? 5 : 4, d.x / d.y, d.z / y);
    return texel_of(d.z < 0.0f ? 3 : 1, -d.x / d.z, d.y / z);
}

Vec3 sky_texel_direction(std::int32_t texel) {
    const int face = texel / kFaceTexels, cell = texel % kFaceTexels;
    return subsample_direction(face, kSubsamples * (cell % kSkyFaceSize),
                               kSubsamples * (cell / kSkyFaceSize));
}

Vec3 sky_map_radiance(std::int32_t texel) {
    const std::vector<Rgbe>& texels = SkyLight.faces[static_cast<std::size_t>(texel / kFaceTexels)];
    return decode_rgbe(texels[static_cast<std::size_t>(texel % kFaceTexels)]);
}

} // namespace mh
