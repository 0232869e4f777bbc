// The points that bounces and lights draw from. Classic estimator: the Halton sequence [Halton60],
// rotated per pixel [CranleyPatterson76] by a 16 by 16 tile of rotations. Exact estimator: a
// scrambled Sobol sequence, of which each pixel takes a stretch.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/hash.h"
#include "math/sobol.h"
#include "math/vec3.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

namespace mh {

// Position of a ray in the sequence; copied from parent to child.
struct SampleCursor {
    float rotation_u = 0.0f; // offset of even dimensions, in [0, 1)
    float rotation_v = 0.0f; // offset of odd dimensions, in [0, 1)
    std::uint32_t sample = 0;
    std::uint32_t dimension = 0;
    std::uint32_t path = 0;        // exact estimator: key of the bounces so far; 0 in the classic
    std::uint32_t place = 0;       // in the sequence, its digits in reverse order
    std::uint32_t pixel_order = 0; // along the curve that visits all pixels, digits as in place
    std::uint8_t spread = 0;       // exact estimator: bounces so far that spread light
};

// What a pair of the exact estimator is drawn for.
enum class Draw : std::uint32_t {
    pixel,
    layer,
    bounce, // and the following values: one for each kind of bounce
    hair_offset = 16,
    lamp,
    survival,
    lamp_place,
    sky,
    point_light = 1 << 16, // and the following values, one for each
    parallel_light = 1 << 24,
};

constexpr Draw numbered(Draw first, std::uint32_t number) {
    return static_cast<Draw>(static_cast<std::uint32_t>(first) + number);
}

// Choices that bear on all that follows have sequences of their own. Directions of bounces and
// places on lights are even together with the place in the pixel: the edges of shadows lie in these
// four dimensions. They share the second pair of them, since a path sums over both and multiplies
// no two. Those of the second and the third hit share the third and the fourth pair.
constexpr bool has_own_sequence(Draw draw) {
    return draw == Draw::layer || draw == Draw::lamp || draw == Draw::survival;
}

// Beyond the third hit that spreads light paths differ in so many numbers that evenness no longer
// shows: there plain random numbers serve.
constexpr int kEvenHits = 3;

constexpr PointSet set_of(const SampleCursor& cursor, Draw draw) {
    if (draw == Draw::pixel) return PointSet::first;
    return static_cast<PointSet>(1 + cursor.spread);
}

// What paths are multiplied by for each purpose, and, beyond those, for each kind of bounce.
constexpr std::size_t kPurposes = 24;
constexpr std::array<std::uint64_t, 32> kPathFactors = [] {
    std::array<std::uint64_t, 32> factors = {};
    for (std::size_t i = 0; i < factors.size(); ++i)
        factors[i] = derive_key(0, i) | 1u;
    return factors;
}();

constexpr std::uint64_t pair_key(std::uint32_t path, Draw draw) {
    const auto number = static_cast<std::uint32_t>(draw);
    if (number >= kPurposes) return derive_key(path, number); // single lights
    return fold_product(path, kPathFactors[number]);
}

// The pair of the exact estimator at the cursor for this purpose.
inline Vec2 draw_pair(const SampleCursor& cursor, Draw draw) {
    if (cursor.spread >= kEvenHits) {
        const std::uint64_t here = std::uint64_t{cursor.place} << 32 | cursor.path;
        return pair_of_bits(derive_key(here, static_cast<std::uint64_t>(draw)));
    }
    const std::uint64_t key = pair_key(cursor.path, draw);
    if (has_own_sequence(draw)) return scrambled_pair(cursor.place, key);
    return even_pair(set_of(cursor, draw), cursor.place, key);
}

// A place in the stretches of all pixels: number `sample` of the samples that each of them has.
struct StretchPlace {
    std::uint32_t sample = 0;
    std::uint32_t reversed = 0; // its digits
    std::uint32_t bits = 0;     // of the longest number
};

constexpr StretchPlace place_in_stretch(std::uint32_t sample, std::uint32_t count) {
    constexpr std::uint32_t kLongest = 18; // bits of a stretch, 14 more are those of the curve
    const auto bits = std::min(static_cast<std::uint32_t>(std::bit_width(count - 1)), kLongest);
    return {sample, reverse_bits(sample), bits};
}

// A cursor over a pixel's samples. Stretches of the sequence that start at multiples of a power of
// two are even in themselves, and together with those of the neighbours on the curve
// [AhmedWonka20]. Their order is shuffled.
constexpr SampleCursor in_stretch(SampleCursor cursor, const StretchPlace& at) {
    const std::uint32_t place = cursor.pixel_order >> at.bits ^ at.reversed;
    cursor.place = scramble_reversed(place, cursor.path + at.bits * 0x9E3779B9u);
    cursor.sample = at.sample;
    return cursor;
}

constexpr int kCurveTile = 128; // pixels along an edge of what one curve visits

// Digits of a coordinate within its tile, every other one, the lowest as the highest bit.
inline constexpr std::array<std::uint32_t, kCurveTile> kSpreadDigits = [] {
    std::array<std::uint32_t, kCurveTile> spread = {};
    for (std::uint32_t c = 0; c < kCurveTile; ++c)
        for (std::uint32_t digit = 0; digit < 7; ++digit)
            spread[c] |= (c >> digit & 1u) << (31 - 2 * digit);
    return spread;
}();

// What the pixels of one row of a tile have in common.
struct CurveRow {
    std::uint64_t pixel_key = 0; // of their places in the pixel
    std::uint32_t path = 0;
    std::uint32_t order = 0; // share of the row in the place on the curve
};

// Of the pixels around (x, y). Each seed has points of its own.
constexpr CurveRow curve_row(std::uint64_t seed, int x, int y) {
    const auto column = static_cast<std::uint32_t>(x), row = static_cast<std::uint32_t>(y);
    const std::uint64_t place = std::uint64_t{column / kCurveTile} << 32 | row / kCurveTile;
    const std::uint32_t path = static_cast<std::uint32_t>(derive_key(seed, place)) | 1u;
    return {pair_key(path, Draw::pixel), path, kSpreadDigits[row % kCurveTile] >> 1};
}

// The cursor of a pixel's first ray, whose frame has this place. Its place on a Morton curve
// [Morton66] has the digits of both coordinates by turns.
constexpr SampleCursor pixel_cursor(const CurveRow& row, int x, const StretchPlace& frame) {
    SampleCursor cursor;
    cursor.path = row.path;
    cursor.pixel_order = kSpreadDigits[static_cast<std::uint32_t>(x) % kCurveTile] | row.order;
    return in_stretch(cursor, frame);
}

// Where the ray of the cursor goes through the pixel: what draw_pair gives, by the key of the row.
inline Vec2 place_in_pixel(const CurveRow& row, const SampleCursor& cursor) {
    return even_pair(PointSet::first, cursor.place, row.pixel_key);
}

// The path of a bounce of this kind from the cursor's.
constexpr std::uint32_t path_of_bounce(const SampleCursor& cursor, std::uint32_t kind) {
    const std::uint64_t key = fold_product(cursor.path, kPathFactors[kPurposes + kind]);
    return static_cast<std::uint32_t>(key) | 1u; // 0 marks the classic estimator
}

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
[[gnu::visibility("hidden")]] extern float HaltonTable[kTableDimensions][kTableSamples];

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

} // namespace mh
