// The Halton sequence [Halton60] that all bounces and lights draw from, rotated per pixel
// [CranleyPatterson76], and the 16 by 16 tile of rotations.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>

namespace mh {

// Position of a ray in the sequence; copied from parent to child.
struct SampleCursor {
    float rotation_u = 0.0f; // offset of even dimensions, in [0, 1)
    float rotation_v = 0.0f; // offset of odd dimensions, in [0, 1)
    std::uint32_t sample = 0;
    std::uint32_t dimension = 0;
};

constexpr int kPatternSize = 16;

// Rotations of the pixels, row by row, repeated over the image; the same in all frames of a run.
extern Vec2 PixelPattern[kPatternSize * kPatternSize];

// Fills the tables of the first 16 dimensions, the primes and the pixel pattern; at startup.
void BuildSequences();

// Radical inverse of sample in the dimension's prime base; in [0, 1), sample 0 gives 0. Dimensions
// beyond the 1024th prime use the primes again from the start.
float sequence_value(std::uint32_t sample, std::uint32_t dimension);

// x + rotation, reduced by 1 when it exceeds 1 (an exact 1 stays).
constexpr float rotate_unit(float x, float rotation) {
    const float y = x + rotation;
    return y > 1.0f ? y - 1.0f : y;
}

// The two numbers at the cursor's dimension and the next, rotated by u and v; the cursor given
// moves on by two dimensions.
Vec2 next_pair(SampleCursor& cursor);

// The rotations of base with another position.
constexpr SampleCursor cursor_at(const SampleCursor& base, std::uint32_t sample,
                                 std::uint32_t dimension) {
    return {base.rotation_u, base.rotation_v, sample, dimension};
}

} // namespace mh
