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

// Draws the pixel pattern again.
void FillPixelPattern();

constexpr std::uint32_t kTableDimensions = 16;
constexpr std::uint32_t kTableSamples = 4096;

// Radical inverses of the early samples and dimensions.
extern float HaltonTable[kTableDimensions][kTableSamples];

// The same for any sample and dimension, digit by digit.
float radical_inverse(std::uint32_t sample, std::uint32_t dimension);

// Radical inverse of sample in the dimension's prime base; in [0, 1), sample 0 gives 0. Dimensions
// beyond the 1024th prime use the primes again from the start.
inline float sequence_value(std::uint32_t sample, std::uint32_t dimension) {
    if (dimension < kTableDimensions && sample < kTableSamples)
        return HaltonTable[dimension][sample];
    return radical_inverse(sample, dimension);
}

// x + rotation, reduced by 1 when it exceeds 1 (an exact 1 stays).
constexpr float rotate_unit(float x, float rotation) {
    const float y = x + rotation;
    const float beyond = y - 1.0f;
    return beyond > 0.0f ? beyond : y; // in this form no branch
}

// The two numbers at the cursor's dimension and the next, rotated by u and v; the cursor given
// moves on by two dimensions.
inline Vec2 next_pair(SampleCursor& cursor) {
    const float u = rotate_unit(sequence_value(cursor.sample, cursor.dimension), cursor.rotation_u);
    const float v =
        rotate_unit(sequence_value(cursor.sample, cursor.dimension + 1), cursor.rotation_v);
    cursor.dimension += 2;
    return {u, v};
}

// The rotations of base with another position.
constexpr SampleCursor cursor_at(const SampleCursor& base, std::uint32_t sample,
                                 std::uint32_t dimension) {
    return {base.rotation_u, base.rotation_v, sample, dimension};
}

} // namespace mh
