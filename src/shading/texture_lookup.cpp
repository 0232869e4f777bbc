// Texel reads and filtered look-ups: per hit, by all rendering threads. Images keep the width of
// their file; conversion happens here.
// SPDX-License-Identifier: MIT
#include "math/at.h"
#include "math/random.h"
#include "math/simd4.h"
#include "math/srgb.h"
#include "shading/images.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>

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
    return to_size(index) * to_size(image.channels);
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

bool is_finite(const Vec2& uv) {
    return std::isfinite(uv.x) && std::isfinite(uv.y);
}

int repeated(int x, int size) {
    return x < 0 ? size - 1 + (x + 1) % size : x % size;
}

int wrap(int x, int size, Wrap mode) {
    if (mode == Wrap::clamp) return std::clamp(x, 0, size - 1);
    if (mode == Wrap::repeat) return repeated(x, size);
    const int turned = repeated(x, 2 * size); // images have at most 2^28 pixels
    return turned < size ? turned : 2 * size - 1 - turned;
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

Vec3 corrected(const Vec3& texel, const ShaderElement& element) {
    const float gamma = element.gamma;
    if (element.srgb)
        return {linear_of_srgb(texel.x), linear_of_srgb(texel.y), linear_of_srgb(texel.z)};
    if (gamma == 1.0f) return texel;
    return {std::pow(texel.x, gamma), std::pow(texel.y, gamma), std::pow(texel.z, gamma)};
}

// Texel at or below a coordinate, the distance from it, and the texel beyond, both wrapped.
struct Place {
    int low = 0, high = 0;
    float t = 0.0f;
};

Place place_of(float coordinate, int size, Wrap mode) {
    const float x = std::clamp(coordinate, -kLargestCoordinate, kLargestCoordinate);
    const int cut = static_cast<int>(x); // with the line below a floor without a call
    const int low = cut - (static_cast<float>(cut) > x ? 1 : 0);
    const float t = x - static_cast<float>(low);
    if (low >= 0 && low < size - 1) return {low, low + 1, t};
    const int wrapped = wrap(low, size, mode);
    if (mode == Wrap::repeat) return {wrapped, wrapped == size - 1 ? 0 : wrapped + 1, t};
    return {wrapped, wrap(low + 1, size, mode), t};
}

Vec3 texel_at(const Image& image, int x, int y, const ShaderElement& element) {
    const std::int64_t index = static_cast<std::int64_t>(y) * image.width + x;
    return corrected(read_texel(image, index), element);
}

Vec3 stochastic(const Image& image, const Place& x, const Place& y, const ShaderElement& element) {
    const float d1 = random_unit();
    const float d2 = random_unit();
    return texel_at(image, x.t > d1 ? x.high : x.low, y.t > d2 ? y.high : y.low, element);
}

Vec3 mix(const Vec3& a, const Vec3& b, float t) {
    return (1.0f - t) * a + t * b;
}

// First along x, then along y.
Vec3 bilinear(const Image& image, const Place& x, const Place& y, const ShaderElement& element) {
    const auto row = [&](int number) {
        return mix(texel_at(image, x.low, number, element),
                   texel_at(image, x.high, number, element), x.t);
    };
    return mix(row(y.low), row(y.high), y.t);
}

// Any filter at any place of any image.
[[gnu::noinline]] Vec3 filter_any(const Image& image, const Vec2& uv,
                                  const ShaderElement& element) {
    if (!has_pixels(image) || !is_finite(uv)) return {};
    const Place x = place_of(static_cast<float>(image.width) * uv.x, image.width, element.wrap_u);
    const Place y = place_of(static_cast<float>(image.height) * uv.y, image.height, element.wrap_v);
    switch (element.pixel_sampler) {
    case PixelSampler::nearest: return texel_at(image, x.low, y.low, element);
    case PixelSampler::stochastic: return stochastic(image, x, y, element);
    case PixelSampler::bilinear: return bilinear(image, x, y, element);
    }
    std::abort();
}

// Lane 3 is not used, and other than the others: g++ takes two instructions to load a constant of
// four equal lanes.
constexpr Float4 kOne4 = {1.0f, 1.0f, 1.0f, 0.0f};
constexpr Float4 kUnitPerStep4 = {kUnitPerStep, kUnitPerStep, kUnitPerStep, 0.0f};

constexpr float kFarthest = static_cast<float>(kLargestGrid);
constexpr float kFarthestSquare = kFarthest * kFarthest;
constexpr Float4 kFarthestSquare4 = {kFarthestSquare, kFarthestSquare, 0.0f, 0.0f};

// Four texels: columns in lane 0, rows in lane 1, and the distances from the lower ones.
struct Square {
    Int4 low, high;
    Float4 t;
};

bool all_two(Int4 is_true) {
    return first_two(is_true) == -1;
}

Int4 zero_above(Int4 v, Int4 last) {
    return v & ~(v > last);
}

// False at places far away, and where a clamped axis ends. Wrapped without a division: the tile
// that a place lies in is known from its coordinate, whose product with the size may only be
// rounded up to the first texel of the next tile.
[[gnu::always_inline]] inline bool find_square(const TexelGrid& grid, const Vec2& uv,
                                               const ShaderElement& element, Square& square) {
    const Float4 size = load_two<Float4>(grid.size), coordinates = load_two<Float4>(uv);
    const Float4 place = size * coordinates;
    if (!all_two(place * place <= kFarthestSquare4)) return false;
    const Int4 last = load_two<Int4>(grid.last);
    const Int4 low = round_down(place);
    const Int4 first = truncate(size * to_float(round_down(coordinates))); // of the tile
    square.low = zero_above(low - first, last);
    square.high = zero_above(square.low + 1, last);
    square.t = place - to_float(low);
    if (element.wrap_u == Wrap::repeat && element.wrap_v == Wrap::repeat) return true;
    return all_two((low == square.low) & (low < last));
}

// texel(row, column) reads one.
template<typename Texel>
[[gnu::always_inline]] inline Vec3 mix_square(const std::uint8_t* pixels, std::size_t row_bytes,
                                              const Square& square, Texel texel) {
    const auto low = static_cast<std::uint64_t>(first_two(square.low));
    const auto high = static_cast<std::uint64_t>(first_two(square.high));
    const std::uint64_t left = low & 0xFFFFFFFFu, right = high & 0xFFFFFFFFu;
    const std::uint8_t* const lower = pixels + row_bytes * (low >> 32);
    const std::uint8_t* const upper = pixels + row_bytes * (high >> 32);
    const float tx = square.t[0], ty = square.t[1];
    const Float4 x = {tx, tx, tx, tx}, y = {ty, ty, ty, ty};
    const Float4 below = (kOne4 - x) * texel(lower, left) + x * texel(lower, right);
    const Float4 above = (kOne4 - x) * texel(upper, left) + x * texel(upper, right);
    return first_three((kOne4 - y) * below + y * above);
}

Float4 grey_texel(const std::uint8_t* row, std::uint64_t column) {
    const float value = kByteValues[row[column]];
    return Float4{value, value, value, value};
}

// Reads four bytes of texels that may have three.
template<int Channels>
Float4 byte_texel(const std::uint8_t* row, std::uint64_t column) {
    return kUnitPerStep4 * load_bytes(row + Channels * column);
}

Float4 rgbe_texel(const std::uint8_t* row, std::uint64_t column) {
    const std::uint8_t* const texel = row + sizeof(Rgbe) * column;
    return kRgbeExponents[texel[3]] * load_bytes(texel);
}

Float4 float_texel(const std::uint8_t* row, std::uint64_t column) {
    Vec3 texel;
    std::memcpy(&texel, row + sizeof texel * column, sizeof texel);
    return Float4{texel.x, texel.y, texel.z};
}

bool has_last_texel(const TexelGrid& grid, const Square& square) {
    const Int4 last = load_two<Int4>(grid.last);
    return all_two((square.low == last) | (square.high == last));
}

[[gnu::noinline]] Vec3 filtered(const Image& image, const Vec2& uv, const ShaderElement& element) {
    const TexelGrid& grid = image.grid;
    Square square;
    if (grid.format == TexelFormat::other || element.pixel_sampler != PixelSampler::bilinear
        || element.gamma != 1.0f || element.srgb || !find_square(grid, uv, element, square))
        return filter_any(image, uv, element);
    switch (grid.format) {
    case TexelFormat::grey_bytes:
        return mix_square(image.bytes.data(), grid.row_bytes, square, grey_texel);
    case TexelFormat::rgb_bytes:
        if (has_last_texel(grid, square)) break;
        return mix_square(image.bytes.data(), grid.row_bytes, square, byte_texel<3>);
    case TexelFormat::rgba_bytes:
        return mix_square(image.bytes.data(), grid.row_bytes, square, byte_texel<4>);
    case TexelFormat::rgbe:
        return mix_square(&image.rgbe.data()->r, grid.row_bytes, square, rgbe_texel);
    case TexelFormat::rgb_floats:
        return mix_square(reinterpret_cast<const std::uint8_t*>(image.floats.data()),
                          grid.row_bytes, square, float_texel);
    case TexelFormat::other: break;
    }
    return filter_any(image, uv, element);
}

Vec2 moved_to_middles(const Vec2& uv, const Image& image) {
    return {uv.x - 0.5f / static_cast<float>(image.width),
            uv.y - 0.5f / static_cast<float>(image.height)};
}

// Out of line: with a call in it that comes back, the look-up without transforms would need a
// frame.
[[gnu::noinline]] Vec3 transformed(const Image& image, const Vec2& uv,
                                   const ShaderElement& element) {
    Vec2 place = element.uv_matrix_identity ? uv : transform_uv(element.uv_matrix, uv);
    if (!has_pixels(image) || !is_finite(place)) return {};
    if (element.centered) place = moved_to_middles(place, image);
    const Vec3 color = filtered(image, place, element);
    return element.color_matrix_identity ? color : transform_color(element.color_matrix, color);
}

} // namespace

Vec3 read_texel(const Image& image, std::int64_t index) {
    if (!has_pixels(image)) return {};
    if (image.rgbe_encoded) return decode_rgbe(at(image.rgbe, index));
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
    if (element.uv_matrix_identity && element.color_matrix_identity && !element.centered)
        return filtered(image, uv, element);
    return transformed(image, uv, element);
}

} // namespace mh
