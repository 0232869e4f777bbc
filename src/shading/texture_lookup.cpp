// Texel reads and filtered look-ups: per hit, by all rendering threads. Images keep the width of
// their file; conversion happens here.
// SPDX-License-Identifier: MIT
#include "math/random.h"
#include "math/simd4.h"
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

// Every byte as a value.
constexpr std::array<float, 256> kByteValues = [] {
    std::array<float, 256> values = {};
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<float>(i) * kUnitPerStep;
    return values;
}();

std::size_t first_value(const Image& image, std::int64_t index) {
    return static_cast<std::size_t>(index) * static_cast<std::size_t>(image.channels);
}

// One value of the array that the image's width names.
float value_at(const Image& image, std::size_t i) {
    switch (image.bits) {
    case 1: return image.bits1[i] ? 1.0f : 0.0f;
    case 8: return kByteValues[image.bytes[i]];
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
    return x < 0 ? size - 1 + (x + 1) % size : x % size;
}

[[gnu::noinline]] Vec3 transform_color(const Mat4& m, const Vec3& c) {
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

// Texel at or below a coordinate, the distance from it, and the texel beyond, both wrapped.
struct Place {
    int low = 0, high = 0;
    float t = 0.0f;
};

// False when the coordinate is not one between two texels of the image.
[[gnu::always_inline]] inline bool place_inside(float x, int size, Place& place) {
    if (!(x >= 0.0f && x < kLargestCoordinate)) return false;
    const int low = static_cast<int>(x);
    place = {low, low + 1, x - static_cast<float>(low)};
    return low < size - 1;
}

[[gnu::always_inline]] inline Place place_of(float coordinate, int size, Wrap mode) {
    const float x = std::clamp(coordinate, -kLargestCoordinate, kLargestCoordinate);
    const int cut = static_cast<int>(x); // with the line below a floor without a call
    const int low = cut - (static_cast<float>(cut) > x ? 1 : 0);
    const float t = x - static_cast<float>(low);
    const int wrapped = wrap(low, size, mode);
    if (mode == Wrap::repeat) return {wrapped, wrapped == size - 1 ? 0 : wrapped + 1, t};
    return {wrapped, wrap(low + 1, size, mode), t};
}

[[gnu::noinline]] Vec3 texel_at(const Image& image, int x, int y, float gamma) {
    const std::int64_t index = static_cast<std::int64_t>(y) * image.width + x;
    return corrected(read_texel(image, index), gamma);
}

[[gnu::noinline]] Vec3 stochastic(const Image& image, const Place& x, const Place& y, float gamma) {
    const float d1 = random_unit();
    const float d2 = random_unit();
    return texel_at(image, x.t > d1 ? x.high : x.low, y.t > d2 ? y.high : y.low, gamma);
}

template<typename Value>
Value mix(const Value& a, const Value& b, float t) {
    return (1.0f - t) * a + t * b;
}

// First along x, then along y; texel(x, y) reads one.
template<typename Texel>
auto mix_square(const Place& x, const Place& y, Texel texel) {
    return mix(mix(texel(x.low, y.low), texel(x.high, y.low), x.t),
               mix(texel(x.low, y.high), texel(x.high, y.high), x.t), y.t);
}

std::size_t offset(int step, int count) {
    return static_cast<std::size_t>(step) * static_cast<std::size_t>(count);
}

Vec3 bilinear_grey(const Image& image, const Place& x, const Place& y) {
    return splat(mix_square(x, y, [&](int column, int row) {
        return kByteValues[image.bytes[offset(image.width, row) + offset(1, column)]];
    }));
}

Vec3 bilinear_rgbe(const Image& image, const Place& x, const Place& y) {
    return first_three(mix_square(x, y, [&](int column, int row) {
        const Rgbe& texel = image.rgbe[offset(image.width, row) + offset(1, column)];
        return RgbeExponents[texel.e] * load_bytes(&texel.r);
    }));
}

// Reads four bytes of texels that may have three.
Vec3 bilinear_bytes(const Image& image, const Place& x, const Place& y) {
    const int row_bytes = image.channels * image.width;
    return first_three(mix_square(x, y, [&](int column, int row) {
        const std::size_t first = offset(row_bytes, row) + offset(image.channels, column);
        return kUnitPerStep * load_bytes(&image.bytes[first]);
    }));
}

bool reads_last_texel(const Image& image, const Place& x, const Place& y) {
    return std::max(x.low, x.high) == image.width - 1
           && std::max(y.low, y.high) == image.height - 1;
}

// Out of line, as is the stochastic pick: their calls would cost the common cases below registers.
[[gnu::noinline]] Vec3 bilinear_texels(const Image& image, const Place& x, const Place& y,
                                       float gamma) {
    return mix_square(x, y,
                      [&](int column, int row) { return texel_at(image, column, row, gamma); });
}

[[gnu::always_inline]] inline Vec3 bilinear(const Image& image, const Place& x, const Place& y,
                                            float gamma) {
    if (gamma == 1.0f && image.rgbe_encoded) return bilinear_rgbe(image, x, y);
    if (gamma == 1.0f && image.bits == 8 && image.channels == 1) return bilinear_grey(image, x, y);
    if (gamma == 1.0f && image.bits == 8 && image.channels > 2 && !reads_last_texel(image, x, y))
        return bilinear_bytes(image, x, y);
    return bilinear_texels(image, x, y, gamma);
}

[[gnu::always_inline]] inline Vec3 filtered(const Image& image, const Place& x, const Place& y,
                                            const ShaderElement& element) {
    switch (element.pixel_sampler) {
    case PixelSampler::nearest: return texel_at(image, x.low, y.low, element.gamma);
    case PixelSampler::stochastic: return stochastic(image, x, y, element.gamma);
    case PixelSampler::bilinear: return bilinear(image, x, y, element.gamma);
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
    const float column = static_cast<float>(image.width) * place.x;
    const float row = static_cast<float>(image.height) * place.y;
    Place x, y;
    if (!place_inside(column, image.width, x) || !place_inside(row, image.height, y)) {
        if (!std::isfinite(place.x) || !std::isfinite(place.y)) return {};
        x = place_of(column, image.width, element.wrap_u);
        y = place_of(row, image.height, element.wrap_v);
    }
    const Vec3 color = filtered(image, x, y, element);
    return element.color_matrix_identity ? color : transform_color(element.color_matrix, color);
}

} // namespace mh
