// Shared-exponent colours.
// SPDX-License-Identifier: MIT
#include "math/rgbe.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

std::uint8_t to_byte(float x) {
    constexpr float kLargest = 255.0f;
    return static_cast<std::uint8_t>(x > 0.0f ? std::min(x, kLargest) : 0.0f);
}

constexpr float kSmallest = 1e-32f;

Vec3 in_range(const Vec3& color) {
    constexpr float kLargest = 1.69e38f; // 255 / 256 * 2^127: the exponent's last byte
    return min(max(color, Vec3{}), splat(kLargest));
}

} // namespace

Rgbe encode_rgbe(const Vec3& color) {
    const Vec3 c = in_range(color);
    const float m = max_channel(c);
    if (!(m >= kSmallest)) return {};
    int exponent = 0;
    const float scale = std::frexp(m, &exponent) * 256.0f / m;
    return {to_byte(scale * c.x), to_byte(scale * c.y), to_byte(scale * c.z),
            static_cast<std::uint8_t>(exponent + 128)};
}

Vec3 nearest_rgbe(const Vec3& color) {
    constexpr int kBits = 8; // of a mantissa
    constexpr float kLargestMantissa = 255.0f;
    const Vec3 c = in_range(color);
    const float m = max_channel(c);
    if (!(m >= kSmallest)) return {};
    int exponent = 0;
    std::frexp(m, &exponent);
    float step = std::ldexp(1.0f, exponent - kBits);
    if (std::round(m / step) > kLargestMantissa) step *= 2.0f; // the next exponent
    const auto rounded = [step](float x) { return step * std::round(x / step); };
    return {rounded(c.x), rounded(c.y), rounded(c.z)};
}

} // namespace mh
