// The sequence, the maps that are fed from it, and discrete distributions.
// SPDX-License-Identifier: MIT
#include "math/sampling.h"

#include "math/at.h"
#include "math/constants.h"
#include "math/discrete_sampler.h"
#include "math/random.h"
#include "math/sequence.h"
#include "support/expect.h"
#include "support/replay.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <gtest/gtest.h>

namespace mh {
namespace {

constexpr int kDraws = 100000;

SampleCursor cursor_of(std::uint64_t seed, int x, int y, const StretchPlace& frame) {
    return pixel_cursor(curve_row(seed, x, y), x, frame);
}

// Whether every box of area 1 / count with sides 2^-i holds one point; count is a power of two.
bool is_net(const std::vector<Vec2>& points) {
    const auto count = static_cast<std::uint32_t>(points.size());
    for (std::uint32_t columns = 1; columns <= count; columns *= 2) {
        std::vector<bool> held(count);
        for (const Vec2& p : points) {
            const auto x = static_cast<std::uint32_t>(p.x * static_cast<float>(columns));
            const auto y = static_cast<std::uint32_t>(p.y * static_cast<float>(count / columns));
            const std::uint32_t box = y * columns + x;
            if (box >= count || held[box]) return false;
            held[box] = true;
        }
    }
    return true;
}

} // namespace

TEST(Sobol, PrefixesOfAllKeysAreNets) {
    for (std::uint64_t key = 0; key < 200; ++key)
        for (std::uint32_t count = 1; count <= 1024; count *= 4) {
            std::vector<Vec2> points;
            for (std::uint32_t i = 0; i < count; ++i)
                points.push_back(scrambled_pair(reverse_bits(i), derive_key(key, 1)));
            EXPECT_TRUE(is_net(points)) << key << " " << count;
        }
}

// Blocks of neighbours along the curve share the points of one net, whatever the frames; each pixel
// has one of its own.
TEST(Sobol, PixelsShareNetsWithTheirNeighbours) {
    for (const int size : {1, 2, 4})
        for (int block = 0; block < 64; ++block) {
            std::vector<Vec2> points;
            for (int i = 0; i < size * size; ++i)
                for (std::uint32_t frame = 0; frame < 4; ++frame) {
                    const int x = size * (block * 5 + 3) + i % size, y = size * block + i / size;
                    points.push_back(draw_pair(cursor_of(7, x, y, place_in_stretch(frame, 4)),
                                               Draw::lamp_place));
                }
            EXPECT_TRUE(is_net(points)) << size << " " << block;
        }
}

// Every box of a 32nd of the volume holds 8 of 256 points: places on lights, and bounces, are even
// together with the place in the pixel.
TEST(Sobol, FourDimensionsAreEvenTogether) {
    for (const Draw purpose : {Draw::sky, Draw::bounce})
        for (int pixel = 0; pixel < 64; ++pixel) {
            std::vector<std::array<float, 4>> points;
            for (std::uint32_t frame = 0; frame < 256; ++frame) {
                const SampleCursor cursor =
                    cursor_of(5, pixel % 8, pixel * 40, place_in_stretch(frame, 256));
                const Vec2 a = draw_pair(cursor, Draw::pixel), b = draw_pair(cursor, purpose);
                points.push_back({a.x, a.y, b.x, b.y});
            }
            for (int box = 0; box < 6 * 6 * 6; ++box) {
                const std::array<int, 4> digits = {box % 6, box / 6 % 6, box / 36,
                                                   5 - box % 6 - box / 6 % 6 - box / 36};
                if (digits[3] < 0) continue;
                std::vector<int> counts(32);
                for (const std::array<float, 4>& point : points) {
                    std::size_t place = 0;
                    for (std::size_t i = 0; i < 4; ++i)
                        place = (place << digits[i])
                                + static_cast<std::size_t>(std::ldexp(point[i], digits[i]));
                    ++counts[place];
                }
                EXPECT_EQ(counts, std::vector<int>(32, 8)) << pixel << " " << box;
            }
        }
}

// What is drawn at a number of mirrors.
struct Purpose {
    Draw draw;
    int mirrors;
};

// In which quarters of [0, 1) the numbers of all cursors lie.
std::vector<std::vector<int>> quarters_of(const std::vector<Purpose>& purposes,
                                          const std::vector<SampleCursor>& cursors) {
    std::vector<std::vector<int>> quarters;
    for (const Purpose& purpose : purposes) {
        std::vector<int> x, y;
        for (SampleCursor cursor : cursors) {
            for (int i = 0; i < purpose.mirrors; ++i)
                cursor.path = path_of_bounce(cursor, 1);
            const Vec2 pair = draw_pair(cursor, purpose.draw);
            x.push_back(static_cast<int>(pair.x * 4.0f));
            y.push_back(static_cast<int>(pair.y * 4.0f));
        }
        quarters.push_back(x);
        quarters.push_back(y);
    }
    return quarters;
}

void expect_to_fill_squares(const std::vector<std::vector<int>>& quarters) {
    constexpr double kLargest = 70.0; // of 15 degrees of freedom: once in 2e8 pairs
    for (std::size_t a = 0; a < quarters.size(); ++a)
        for (std::size_t b = 0; b < a; ++b) {
            std::vector<int> counts(16);
            for (std::size_t i = 0; i < quarters[a].size(); ++i)
                ++at(counts, 4 * quarters[a][i] + quarters[b][i]);
            EXPECT_LT(test::chi_square(counts, static_cast<double>(quarters[a].size()) / 16.0),
                      kLargest)
                << a << " " << b;
        }
}

// Over many keys all pairs of numbers of a path fill the square: purposes, coordinates and bounces.
TEST(Sobol, PurposesAndBouncesAreIndependent) {
    std::vector<SampleCursor> cursors;
    for (int tile = 0; tile < 8192; ++tile)
        cursors.push_back(cursor_of(3, tile * 131, tile * 7, {}));
    std::vector<Purpose> purposes;
    for (const int mirrors : {0, 1, 2})
        for (const Draw draw : {Draw::pixel, Draw::layer, Draw::bounce, Draw::lamp,
                                Draw::lamp_place, Draw::sky, Draw::survival, Draw::point_light,
                                numbered(Draw::bounce, 1), numbered(Draw::point_light, 1)})
            purposes.push_back({draw, mirrors});
    expect_to_fill_squares(quarters_of(purposes, cursors));
}

// Under one key too, for what is multiplied in a path: no pixel would converge otherwise.
TEST(Sobol, FactorsOfAPathAreIndependentUnderOneKey) {
    std::vector<SampleCursor> cursors;
    for (int pixel = 0; pixel < 1024; ++pixel)
        for (std::uint32_t frame = 0; frame < 16; ++frame)
            cursors.push_back(cursor_of(3, pixel % 32, pixel / 32, place_in_stretch(frame, 16)));
    for (const Draw end : {Draw::lamp_place, Draw::bounce})
        for (const int mirrors : {0, 2})
            expect_to_fill_squares(quarters_of({{Draw::pixel, 0},
                                                {Draw::layer, 0},
                                                {Draw::layer, 1},
                                                {Draw::survival, 1},
                                                {Draw::survival, 2},
                                                {Draw::layer, 2},
                                                {Draw::lamp, mirrors},
                                                {end, mirrors}},
                                               cursors));
}

TEST(Sequence, IsTheRadicalInverseInPrimeBases) {
    BuildSequences();
    EXPECT_EQ(sequence_value(0, 0), 0.0f);
    EXPECT_EQ(sequence_value(1, 0), 0.5f);
    EXPECT_EQ(sequence_value(6, 0), 0.375f);
    EXPECT_NEAR(sequence_value(5, 1), 7.0f / 9.0f, 1e-6f);
    EXPECT_NEAR(sequence_value(1, 16), 1.0f / 59.0f, 1e-7f);
    EXPECT_NEAR(sequence_value(4096, 0), 1.0f / 8192.0f, 1e-9f); // beyond the table
    for (std::uint32_t d = 0; d < 3000; ++d)
        EXPECT_LT(sequence_value(4294967295u, d), 1.0f) << d;
}

TEST(Sequence, PairsAreRotatedAndMoveTheCursor) {
    BuildSequences();
    SampleCursor cursor{0.75f, 0.5f, 1, 0};
    const Vec2 pair = next_pair(cursor);
    EXPECT_FLOAT_EQ(pair.x, 0.25f);
    EXPECT_FLOAT_EQ(pair.y, 1.0f / 3.0f + 0.5f);
    EXPECT_EQ(cursor.dimension, 2u);
    EXPECT_EQ(rotate_unit(0.5f, 0.5f), 1.0f);
}

// Each map, taken back to two numbers that are uniform.
TEST(Sampling, MapsHaveTheirDensities) {
    const test::SeededDraws draws(5);
    const std::pair<Vec3 (*)(Vec2), float (*)(const Vec3&)> maps[] = {
        {[](Vec2 uv) {
             return Vec3{concentric_disk(uv).x, concentric_disk(uv).y, 0.0f};
         },
         [](const Vec3& d) { return d.x * d.x + d.y * d.y; }},
        {[](Vec2 uv) { return sample_cosine_local(uv); }, // the squared sine
         [](const Vec3& d) { return 1.0f - d.z * d.z; }},
        {[](Vec2 uv) { return sample_sphere(uv); },
         [](const Vec3& d) { return 0.5f * (1.0f + d.z); }},
        {[](Vec2 uv) { return sample_cone_local(uv, 0.25f); },
         [](const Vec3& d) { return (1.0f - d.z) * 4.0f; }},
        {[](Vec2 uv) { return sample_cone_local(uv, 5e-11f); }, // a ball seen from 1e5 radii away
         [](const Vec3& d) { return (d.x * d.x + d.y * d.y) * 1e10f; }}};
    for (const auto& [map, share] : maps) {
        std::vector<int> counts(100);
        for (int i = 0; i < kDraws; ++i) {
            const float u = random_unit(), v = random_unit();
            const Vec3 d = map({u, v});
            const float turn = (std::atan2(d.y, d.x) + kPi) / kTwoPi;
            const int x = std::clamp(static_cast<int>(share(d) * 10.0f), 0, 9);
            const int y = std::clamp(static_cast<int>(turn * 10.0f), 0, 9);
            ++at(counts, 10 * y + x);
        }
        EXPECT_LT(test::chi_square(counts, kDraws / 100.0), test::kChiSquare99);
        for (const Vec2 uv : {Vec2{0, 0}, Vec2{1, 1}, Vec2{0, 1}, Vec2{1, 0}, Vec2{0.5f, 0.5f}})
            EXPECT_LE(dot(map(uv), map(uv)), 1.000001f);
    }
}

TEST(DiscreteSampler, PicksEveryEntryByItsShare) {
    const test::SeededDraws draws(6);
    constexpr int kSize = 1000;
    DiscreteSampler table;
    CreateSampler(table, kSize);
    std::vector<double> weights;
    double total = 0.0;
    for (int i = 0; i < kSize; ++i) {
        const float u = random_unit();
        weights.push_back(i % 3 == 0 ? 0.0 : std::pow(u, 8.0f));
        set_weight(table, i, static_cast<float>(weights.back()));
        total += weights.back();
    }
    FinishSampler(table);
    EXPECT_GE(size_bytes(table), 3u * sizeof(float) * kSize); // sums, shares and the guide
    std::vector<double> measure(kSize, 0.0); // length of the interval of u that picks each entry
    constexpr int kSteps = 4000000;
    for (int i = 0; i < kSteps; ++i)
        at(measure, pick(table, (static_cast<float>(i) + 0.5f) / kSteps)) += 1.0 / kSteps;
    for (int i = 0; i < kSize; ++i) {
        const auto k = to_size(i);
        EXPECT_NEAR(measure[k], weights[k] / total, 2e-6) << i; // a few steps of float u
        EXPECT_NEAR(probability(table, i), weights[k] / total, 1e-6);
    }
}

TEST(DiscreteSampler, HasNoEntryWithoutWeight) {
    DiscreteSampler table;
    CreateSampler(table, 3);
    FinishSampler(table);
    EXPECT_EQ(pick(table, 0.5f), -1);
    EXPECT_EQ(probability(table, 0), 0.0f);
    CreateSampler(table, 4);
    set_weight(table, 1, 2.0f);
    set_weight(table, 2, test::kNan);
    FinishSampler(table);
    for (const float u : {0.0f, 0.5f, 0.99999994f, 1.0f})
        EXPECT_EQ(pick(table, u), 1);
}

TEST(RandomUnit, StaysBelowOne) {
    const test::SeededDraws restores(7);
    RandomSource = [] { return 0xFFFFFFFFu; };
    EXPECT_LT(random_unit(), 1.0f);
}

} // namespace mh
