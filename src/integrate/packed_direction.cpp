// Packing of directions.
// Bits from the low end: face (2), octant (3), b (5), a (5). Face 1, 2, 3 names the largest axis;
// octant bit 0 is set for z < 0, bit 1 for y < 0, bit 2 for x < 0; a and b are the next two axes
// after the largest, over the largest, in 32 steps.
// SPDX-License-Identifier: MIT
#include "integrate/packed_direction.h"

#include "math/roots.h"

namespace mh {

namespace {

constexpr float kSteps = 32.0f;
constexpr float kLargest = 31.0f; // what the largest component unpacks to

// trunc(32 |part / whole|), at most 31; 0 for NaN.
std::uint32_t ratio(float part, float whole) {
    const float scaled = std::fabs(part / whole) * kSteps;
    if (scaled >= kLargest) return static_cast<std::uint32_t>(kLargest);
    return scaled > 0.0f ? static_cast<std::uint32_t>(scaled) : 0;
}

std::uint32_t octant(const Vec3& v) {
    return (v.z < 0.0f ? 1u : 0u) | (v.y < 0.0f ? 2u : 0u) | (v.x < 0.0f ? 4u : 0u);
}

// Face and ratios in their places; on ties x before y before z.
std::uint32_t face_bits(const Vec3& v) {
    const Vec3 size = {std::fabs(v.x), std::fabs(v.y), std::fabs(v.z)};
    const auto bits = [](std::uint32_t face, std::uint32_t a, std::uint32_t b) {
        return face | b << 5 | a << 10;
    };
    if (size.x >= size.y && size.x >= size.z) return bits(1, ratio(v.y, v.x), ratio(v.z, v.x));
    if (size.y >= size.z) return bits(2, ratio(v.z, v.y), ratio(v.x, v.y));
    return bits(3, ratio(v.x, v.z), ratio(v.y, v.z));
}

Vec3 on_face(std::uint32_t face, float a, float b) {
    if (face == 1) return {kLargest, a, b};
    if (face == 2) return {b, kLargest, a};
    return {a, b, kLargest};
}

} // namespace

std::uint16_t pack_direction(const Vec3& v) {
    const Vec3 unit = normalize(v);
    return static_cast<std::uint16_t>(face_bits(unit) | octant(unit) << 2);
}

Vec3 unpack_unscaled(std::uint16_t packed) {
    const auto a = static_cast<float>(packed >> 10), b = static_cast<float>(packed >> 5 & 31);
    const Vec3 size = on_face(packed & 3u, a, b);
    const std::uint32_t signs = packed >> 2 & 7u;
    return {signs & 4 ? -size.x : size.x, signs & 2 ? -size.y : size.y,
            signs & 1 ? -size.z : size.z};
}

} // namespace mh
