// Texel reads and filtered look-ups: per hit, by all rendering threads. Images keep the width of
// their file; conversion happens here.
// SPDX-License-Identifier: MIT
#include "math/random.h"
#include "shading/images.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace mh {

namespace {

// Bytes count as parts of 255; so do words, whose texels reach 257.
constexpr float kUnitPerStep = 0.0039215684f;

// Texel coordinates beyond this are clamped before they become integers.
constexpr float kLargestCoordinate = 1e9f;

std::size_t first_value(const Image& image, std::int64_t index) {
    return static_cast<std::size_t>(index) * static_cast<std::size_t>(image.channels);
}

// One value of the array that the image's width names.
float value_at(const Image& image, std::size_t i) {
    switch (image.bits) {
    case 1: return image.bits1[i] ? 1.0f : 0.0f;
    case 8: return static_cast<float>(image.bytes[i]) * kUnitPerStep;
    case 16: return static_cast<float>(image.words[i]) * kUnitPerStep;
    case 32: return image.floats[i];
    default: return static_cast<float>(image.doubles[i]);
    }
}

bool has_pixels(const Image& image) {
    return image.width > 0 && image.height > 0;
}

int wrap(int x, int size, Wrap mode) {
    if (mode == Wrap::clamp) return std::clamp(x, 0, size - 1);
    return x < 0 ? size - (-x - 1) % size - 1 : x % size;
}

Vec3 transform_color(const Mat4& m, const Vec3& c) {
    const float w = m.m[3][0] * c.x + (m.m[3][1] + m.m[3][2]) * c.y + m.m[3][3];
    const Mat3 rows = upper_left(m);
    return (rows * c + Vec3{m.m[0][3], m.m[1][3], m.m[2][3]}) / w;
}

Vec2 transform_uv(const Mat3& m, const Vec2& uv) {
    const Vec3 p = m * Vec3{uv.x, uv.y, 1.0f};
    const float w = 1.0f / p.z;
    return {p.x * w, p.y * w};
}

Vec3 corrected(const Vec3& texel, float gamma) {
    if (gamma == 1.0f) return texel;
    return {std::pow(texel.x, gamma), std::pow(texel.y, gamma), std::pow(texel.z, gamma)};
}

// Column and row of a look-up: the texel at or below, and the distance from it, in texels.
struct Position {
    int x = 0, y = 0;
    float tx = 0.0f, ty = 0.0f;
};

Position position_of(const Image& image, const Vec2& uv) {
    const float x = static_cast<float>(image.width) * uv.x;
    const float y = static_cast<float>(image.height) * uv.y;
    const float fx = std::floor(x), fy = std::floor(y);
    return {static_cast<int>(std::clamp(fx, -kLargestCoordinate, kLargestCoordinate)),
            static_cast<int>(std::clamp(fy, -kLargestCoordinate, kLargestCoordinate)), x - fx,
            y - fy};
}

Vec3 texel_at(const Image& image, int x, int y, const ShaderElement& element) {
    const std::int64_t index = texel_index(image, x, y, element.wrap_u, element.wrap_v);
    return corrected(read_texel(image, index), element.gamma);
}

Vec3 stochastic(const Image& image, const Position& p, const ShaderElement& element) {
    const float d1 = random_unit();
    const float d2 = random_unit();
    return texel_at(image, p.x + (p.tx > d1 ? 1 : 0), p.y + (p.ty > d2 ? 1 : 0), element);
}

Vec3 mix(const Vec3& a, const Vec3& b, float t) {
    return (1.0f - t) * a + t * b;
}

Vec3 bilinear(const Image& image, const Position& p, const ShaderElement& element) {
    const Vec3 low =
        mix(texel_at(image, p.x, p.y, element), texel_at(image, p.x + 1, p.y, element), p.tx);
    const Vec3 high = mix(texel_at(image, p.x, p.y + 1, element),
                          texel_at(image, p.x + 1, p.y + 1, element), p.tx);
    return mix(low, high, p.ty);
}

Vec3 filtered(const Image& image, const Position& p, const ShaderElement& element) {
    switch (element.pixel_sampler) {
    case PixelSampler::nearest: return texel_at(image, p.x, p.y, element);
    case PixelSampler::stochastic: return stochastic(image, p, element);
    case PixelSampler::bilinear: return bilinear(image, p, element);
    }
    std::abort();
}

} // namespace

Vec3 read_texel(const Image& image, std::int64_t index) {
    if (!has_pixels(image)) return {};
    if (image.rgbe_encoded) return decode_rgbe(image.rgbe[static_cast<std::size_t>(index)]);
    if (image.channels == 2) return {};
    const std::size_t i = first_value(image, index);
    if (image.channels == 1) return splat(value_at(image, i));
    return {value_at(image, i), value_at(image, i + 1), value_at(image, i + 2)};
}

std::int64_t texel_index(const Image& image, int x, int y, Wrap wrap_u, Wrap wrap_v) {
    return static_cast<std::int64_t>(wrap(y, image.height, wrap_v)) * image.width
           + wrap(x, image.width, wrap_u);
}

Vec3 sample_texture(const Image& image, const Vec2& uv, const ShaderElement& element) {
    if (!has_pixels(image)) return {};
    const Vec2 place = element.uv_matrix_identity ? uv : transform_uv(element.uv_matrix, uv);
    if (!std::isfinite(place.x) || !std::isfinite(place.y)) return {};
    const Vec3 color = filtered(image, position_of(image, place), element);
    return element.color_matrix_identity ? color : transform_color(element.color_matrix, color);
}

} // namespace mh
