// Addressing and construction of the sky's map. A warp by the arc sine spreads the texels of a face
// evenly over the sphere.
// SPDX-License-Identifier: MIT
#include "lights/sky_map.h"

#include "lights/sky_light.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/roots.h"
#include "math/threads.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mh {

namespace {

constexpr float kHalfFace = 0.5f * kSkyFaceSize;
constexpr int kFaceTexels = kSkyFaceSize * kSkyFaceSize;
constexpr int kSubsamples = kSkySubsamples;

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

// A face's middle in cube coordinates, and where its coordinates a (against the columns) and b
// (against the rows) point.
struct FaceAxes {
    Vec3 middle, a, b;
};

constexpr std::array<FaceAxes, kSkyFaces> kFaceAxes = {{
    {{1, 0, 0}, {0, 0, 1}, {0, 1, 0}},
    {{0, 0, 1}, {-1, 0, 0}, {0, 1, 0}},
    {{-1, 0, 0}, {0, 0, -1}, {0, 1, 0}},
    {{0, 0, -1}, {1, 0, 0}, {0, 1, 0}},
    {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}},
    {{0, -1, 0}, {-1, 0, 0}, {0, 0, 1}},
}};

inline Vec3 cube_direction(const FaceAxes& face, float a, float b) {
    return normalize(face.middle + a * face.a + b * face.b);
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
const SkyLine kEdge = [] {
    SkyLine edge;
    for (std::size_t i = 0; i < edge.size(); ++i)
        edge[i] = warp(1.0f - static_cast<float>(i) / (kSubsamples * kHalfFace));
    return edge;
}();

// Sums of the subsamples of a row of texels, and the first subsample of each, its corner.
struct MapRow {
    std::array<Vec3, kSkyFaceSize> sum, corner;
};

void sum_row(int face, int row, MapRow& texels) {
    SkyPlaces line;
    for (std::size_t j = 0; j < kSubsamples; ++j) {
        const std::size_t line_number = to_size(row) * kSubsamples + j;
        place_sky_line(face, kEdge, kEdge[line_number], line);
        for (std::size_t i = 0; i < line.size(); ++i) {
            const Vec3 value = sky_image_radiance(line[i]);
            if (j == 0 && i % kSubsamples == 0) texels.corner[i / kSubsamples] = value;
            texels.sum[i / kSubsamples] += value;
        }
    }
}

void build_row(int face, int row) {
    MapRow texels;
    sum_row(face, row, texels);
    for (std::size_t column = 0; column < kSkyFaceSize; ++column) {
        const std::size_t cell = to_size(row) * kSkyFaceSize + column;
        const std::size_t texel = to_size(face) * kFaceTexels + cell;
        const Vec3& sum = texels.sum[column];
        SkyLight.sky_samples[texel].radiance = texels.corner[column];
        at(SkyLight.faces, face)[cell] = encode_rgbe(sum / float{kSubsamples * kSubsamples});
        set_weight(SkyLight.sky_table, static_cast<std::int32_t>(texel), max_channel(sum));
    }
}

} // namespace

void BuildSkyMap() {
    CreateSampler(SkyLight.sky_table, kSkyTexels);
    SkyLight.sky_samples.assign(kSkyTexels, {});
    for (std::vector<Rgbe>& face : SkyLight.faces)
        face.assign(kFaceTexels, {});
#pragma omp parallel for schedule(dynamic, 8) num_threads(team_size())
    for (int row = 0; row < kSkyFaces * kSkyFaceSize; ++row)
        build_row(row / kSkyFaceSize, row % kSkyFaceSize);
    FinishSampler(SkyLight.sky_table);
    for (std::int32_t texel = 0; texel < SkyLight.sky_table.size; ++texel)
        at(SkyLight.sky_samples, texel).share = probability(SkyLight.sky_table, texel);
}

float sky_edge(int line) {
    return warp(1.0f - static_cast<float>(line) / kHalfFace);
}

Vec3 sky_cube_direction(int face, float a, float b) {
    return cube_direction(at(kFaceAxes, face), a, b);
}

void place_sky_line(int face, const SkyLine& as, float b, SkyPlaces& places) {
    const FaceAxes& axes = at(kFaceAxes, face);
    const Mat3 to_sky = SkyLight.to_sky;
    for (std::size_t i = 0; i < places.size(); ++i)
        places[i] = sky_uv(to_sky * cube_direction(axes, as[i], b));
}

Vec3 sky_face_direction(int face, float x, float y) {
    return cube_direction(at(kFaceAxes, face), warp(1.0f - x / kHalfFace),
                          warp(1.0f - y / kHalfFace));
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
    const auto edge = [](int i) { return kEdge[kSubsamples * to_size(i)]; };
    return cube_direction(at(kFaceAxes, face), edge(cell % kSkyFaceSize),
                          edge(cell / kSkyFaceSize));
}

Vec3 sky_map_radiance(std::int32_t texel) {
    const std::vector<Rgbe>& texels = at(SkyLight.faces, texel / kFaceTexels);
    return decode_rgbe(at(texels, texel % kFaceTexels));
}

} // namespace mh
