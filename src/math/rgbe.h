// Colours with a shared exponent in four bytes [Ward91].
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>

namespace mh {

struct Rgbe {
    std::uint8_t r = 0, g = 0, b = 0, e = 0;
};

// Fills the 256 exponents 2^(i - 136); at startup.
void BuildExponentTable();

// The largest channel m = f 2^e, f in [0.5, 1); bytes trunc(f 256 / m * channel), fourth e - 128
// as a byte. Below 1e-32 all bytes are 0; negative channels and NaN count as 0, what is too large
// becomes the largest value that can be held.
Rgbe encode_rgbe(const Vec3& color);

Vec3 decode_rgbe(const Rgbe& pixel);

} // namespace mh
