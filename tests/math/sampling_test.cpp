// The sequence, the maps that are fed from it, and discrete distributions.
// SPDX-License-Identifier: MIT
#include "math/sampling.h"

#include "math/constants.h"
#include "math/discrete_sampler.h"
#include "math/random.h"
#include "math/sequence.h"
#include "support/expect.h"
#include "support/replay.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

namespace mh {
namespace {

constexpr int kDraws = 100000;

// Chi-square of 10 by 10 cells that are equally likely; cell gives two numbers in [0, 1).
template<typename Cell>
double chi_square(Cell cell) {
    std::vector<int> counts(100);
    for (int i = 0; i < kDraws; ++i) {
        const float u = random_unit(), v = random_unit();
        const Vec2 c = cell(Vec2{u, v});
        const int x = std::clamp(static_cast<int>(c.x * 10.0f), 0, 9);
        const int y = std::clamp(static_cast<int>(c.y * 10.0f), 0, 9);
        ++counts[static_cast<std::size_t>(10 * y + x)];
    }
    return test::chi_square(counts, kDraws / 100.0);
}

float turn(float x, float y) {
    return (std::atan2(y, x) + kPi) / kTwoPi;
}

} // namespace

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

TEST(Sampling, MapsHaveTheirDensities) {
    const test::SeededDraws draws(5);
    EXPECT_LT(chi_square([](Vec2 uv) {
                  const Vec2 d = concentric_disk(uv);
                  return Vec2{d.x * d.x + d.y * d.y, turn(d.x, d.y)};
              }),
              test::kChiSquare99);
    EXPECT_LT(chi_square([](Vec2 uv) { // cos / pi: the squared sine is uniform
                  const Vec3 d = sample_cosine_local(uv);
                  return Vec2{1.0f - d.z * d.z, turn(d.x, d.y)};
              }),
              test::kChiSquare99);
    EXPECT_LT(chi_square([](Vec2 uv) {
                  const Vec3 d = sample_sphere(uv);
                  return Vec2{0.5f * (1.0f + d.z), turn(d.x, d.y)};
              }),
              test::kChiSquare99);
    EXPECT_LT(chi_square([](Vec2 uv) {
                  const Vec3 d = sample_cone_local(uv, 0.25f);
                  return Vec2{(1.0f - d.z) * 4.0f, turn(d.x, d.y)};
              }),
              test::kChiSquare99);
}

TEST(Sampling, CornersOfTheSquareStayOnTheDisk) {
    for (const Vec2 uv : {Vec2{0, 0}, Vec2{1, 1}, Vec2{0, 1}, Vec2{1, 0}, Vec2{0.5f, 0.5f}}) {
        const Vec2 d = concentric_disk(uv);
        EXPECT_LE(d.x * d.x + d.y * d.y, 1.000001f);
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
    std::vector<double> measure(kSize, 0.0); // length of the interval of u that picks each entry
    constexpr int kSteps = 4000000;
    for (int i = 0; i < kSteps; ++i)
        measure[static_cast<std::size_t>(pick(table, (static_cast<float>(i) + 0.5f) / kSteps))] +=
            1.0 / kSteps;
    for (int i = 0; i < kSize; ++i) {
        const auto k = static_cast<std::size_t>(i);
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
