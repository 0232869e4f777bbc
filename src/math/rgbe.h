// Colours with a shared exponent in four bytes [Ward91].
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <array>
#include <cstdint>

namespace mh {

struct Rgbe {
    std::uint8_t r = 0, g = 0, b = 0, e = 0;
};

constexpr std::array<float, 256> rgbe_exponents() {
    std::array<float, 256> table = {};
    float power = 0x1p-135f; // 128 of the exponent and 8 of the mantissa's bits below i = 1
    for (std::size_t i = 1; i < table.size(); ++i, power *= 2.0f)
        table[i] = power;
    return table;
}

// 2^(i - 136); entry 0 is 0, since such a pixel is black.
inline constexpr std::array<float, 256> kRgbeExponents = rgbe_exponents();

// The largest channel m = f 2^e, f in [0.5, 1); bytes trunc(f 256 / m * channel), fourth e - 128
// as a byte. Below 1e-32 all bytes are 0; negative channels and NaN count as 0, what is too large
// becomes the largest value that can be held.
Rgbe encode_rgbe(const Vec3& color);

// The nearest colour that four bytes hold exactly. A file keeps it whichever way its encoder
// rounds.
Vec3 nearest_rgbe(const Vec3& color);

inline Vec3 decode_rgbe(const Rgbe& pixel) {
    const float f = kRgbeExponents[pixel.e];
    return {static_cast<float>(pixel.r) * f, static_cast<float>(pixel.g) * f,
            static_cast<float>(pixel.b) * f};
}

} // namespace mh
