// Roots, matrices, packed vectors, shared-exponent colours.
// SPDX-License-Identifier: MIT
#include "math/angles.h"
#include "math/faces.h"
#include "math/fixed_point.h"
#include "math/frame.h"
#include "math/matrix.h"
#include "math/packed_unit.h"
#include "math/random.h"
#include "math/rgbe.h"
#include "math/roots.h"
#include "support/expect.h"
#include "support/replay.h"

#include <gtest/gtest.h>

namespace mh {
namespace {

using test::expect_near, test::kInfinity, test::kNan;

Vec3 random_vector() {
    const float x = random_unit(), y = random_unit(), z = random_unit();
    return {2.0f * x - 1.0f, 2.0f * y - 1.0f, 2.0f * z - 1.0f};
}

} // namespace

TEST(Roots, AreFiniteForEveryInput) {
    EXPECT_EQ(safe_root(4.0f), 2.0f);
    for (const float x : {1e-10f, 0.0f, -1.0f, kNan})
        EXPECT_EQ(safe_root(x), 1e-5f);
    EXPECT_EQ(normalize(Vec3{}), Vec3{});
    expect_near(normalize(Vec3{1e-6f, 0.0f, 0.0f}), {0.1f, 0.0f, 0.0f}, 1e-6f);
}

TEST(Roots, UnitDirectionsHaveNoScale) {
    for (const float scale : {1e-20f, 1e-7f, 1.0f, 1e18f, 1e30f})
        expect_near(unit_direction({3.0f * scale, 0.0f, 4.0f * scale}), {0.6f, 0.0f, 0.8f}, 1e-6f);
    EXPECT_EQ(unit_direction(Vec3{}), Vec3{});
    EXPECT_EQ(unit_direction({kInfinity, 0.0f, kNan}), Vec3{});
}

TEST(Angles, AreThoseOfTheStandardLibrary) {
    constexpr double kTolerance = 4e-7; // 2 steps of a float at pi
    for (int i = -1000; i <= 1000; ++i) {
        const double turn = 1e-3 * i * static_cast<double>(kPi);
        const auto x = static_cast<float>(3.0 * std::cos(turn));
        const auto y = static_cast<float>(3.0 * std::sin(turn));
        EXPECT_NEAR(arc_tangent(y, x), std::atan2(y, x), kTolerance) << i;
        const float z = 0.001f * static_cast<float>(i);
        EXPECT_NEAR(arc_cosine(z), std::acos(z), kTolerance) << i;
    }
    EXPECT_EQ(arc_tangent(0.0f, 0.0f), 0.0f);
    EXPECT_EQ(arc_cosine(1.5f), 0.0f);
    EXPECT_EQ(arc_cosine(-1.5f), kPi);
}

// Doubles hold sums of a few floats of a range exactly.
TEST(FixedPoint, SumsDoNotDependOnOrderOrGrouping) {
    std::vector<float> values;
    for (int i = 0; i < 1000; ++i)
        values.push_back(std::ldexp(random_vector().x, i % 25 - 12));
    double exact = 0.0;
    FixedPoint forward, backward, parts[2];
    for (std::size_t i = 0; i < values.size(); ++i) {
        exact += static_cast<double>(values[i]);
        add_float(forward, values[i], 1e7f);
        add(backward, to_fixed(values[values.size() - 1 - i], 1e6f));
        add(parts[i < 300 ? 0 : 1], to_fixed(values[i], 1e6f));
        EXPECT_EQ(to_double(to_fixed(values[i], 1e6f)), static_cast<double>(values[i]));
    }
    add(parts[1], parts[0]);
    for (const FixedPoint& sum : {forward, backward, parts[1]})
        EXPECT_EQ(to_double(sum), exact);
    EXPECT_EQ(to_double(to_fixed(-kInfinity, 4.0f)), -4.0);
    for (const float none : {kNan, -0.0f, 1e-25f, -1e-40f})
        EXPECT_EQ(to_double(to_fixed(none, 4.0f)), 0.0);
}

TEST(TangentFrame, HasTheLimitOfItsFormulaAtThePole) { // elsewhere: points of surfaces
    Vec3 t, b;
    tangent_frame({0.0f, 0.0f, -1.0f}, t, b);
    EXPECT_EQ(t, (Vec3{0.0f, -1.0f, 0.0f}));
    EXPECT_EQ(b, (Vec3{-1.0f, 0.0f, 0.0f}));
}

TEST(Matrices, InverseUndoesTheMatrixAndRefusesSingularOnes) {
    const test::SeededDraws draws(2);
    for (int i = 0; i < 100; ++i) {
        Mat4 m;
        for (int k = 0; k < 12; ++k)
            m.m[k / 4][k % 4] = 2.0f * random_unit() - 1.0f + (k % 5 == 0 ? 3.0f : 0.0f);
        Mat4 inverse;
        ASSERT_TRUE(invert(m, inverse));
        const Vec3 p = random_vector();
        expect_near(transform_point(inverse, transform_point(m, p)), p, 1e-5f);
    }
    for (const float bad : {0.0f, kNan}) {
        Mat4 flat, untouched;
        flat.m[2][2] = bad;
        EXPECT_FALSE(invert(flat, untouched));
        EXPECT_EQ(untouched.m[2][2], 1.0f);
    }
}

// A trapezoid, a square of 1 mm, and a strip of 10 m by 1 mm.
TEST(Faces, HaveTheirAreasHoweverSmallOrThin) {
    EXPECT_FLOAT_EQ(tetragon_area({0, 0, 0}, {4, 0, 0}, {3, 2, 0}, {1, 2, 0}), 6.0f);
    for (const Vec3 edge : {Vec3{1e-3f, 0, 0}, Vec3{10, 0, 0}}) {
        const Vec3 up = {0, 1e-3f, 0};
        EXPECT_FLOAT_EQ(tetragon_area({}, edge, edge + up, up), 1e-3f * edge.x);
        EXPECT_FLOAT_EQ(triangle_area({}, edge, up), 0.5e-3f * edge.x);
    }
    EXPECT_EQ(triangle_area({}, {1, 1, 1}, {2, 2, 2}), 0.0f);
}

TEST(PackedUnit, KeepsDirectionsAndTheZeroTriple) {
    EXPECT_EQ(pack_unit({1.0f, 0.0f, 0.0f}), (PackedUnit{127, 0, 0}));
    EXPECT_EQ(pack_unit({-9.0f, 0.0f, 0.0f}), (PackedUnit{-127, 0, 0}));
    EXPECT_TRUE(is_zero(pack_unit(Vec3{})));
    EXPECT_TRUE(is_zero(pack_unit({kNan, 0.0f, 1.0f})));
    EXPECT_EQ(unpack_unit(PackedUnit{}), Vec3{});
    const test::SeededDraws draws(3);
    for (int i = 0; i < 1000; ++i) {
        const Vec3 n = normalize(random_vector());
        EXPECT_GT(dot(unpack_unit(pack_unit(n)), n), 0.9998f); // a step of 1 / 128 per axis
    }
}

TEST(Rgbe, RoundsDownByLessThanOneStepOrToTheNearest) {
    const test::SeededDraws draws(4);
    for (int i = 0; i < 1000; ++i) {
        const Vec3 c = (random_vector() + splat(1.0f)) * std::exp2(40.0f * random_unit() - 20.0f);
        const Vec3 back = decode_rgbe(encode_rgbe(c));
        const float step = max_channel(c) / 128.0f;
        EXPECT_TRUE(back.x <= c.x && back.x > c.x - step && back.z > c.z - step) << c.x;
    }
    for (int i = 0; i < 1000; ++i) {
        const Vec3 c = (random_vector() + splat(1.0f)) * std::exp2(40.0f * random_unit() - 20.0f);
        const Vec3 nearest = nearest_rgbe(c);
        EXPECT_EQ(decode_rgbe(encode_rgbe(nearest)), nearest);
        expect_near(nearest, c, max_channel(c) / 256.0f);
    }
    EXPECT_EQ(nearest_rgbe({0.999f, 0.0021f, -1.0f}), (Vec3{1.0f, 0.0f, 0.0f})); // steps of 1 / 128
    EXPECT_TRUE(is_finite(nearest_rgbe({kInfinity, 1.0f, kNan})));
    EXPECT_EQ(decode_rgbe(encode_rgbe({0.0f, -1.0f, kNan})), Vec3{});
    EXPECT_EQ(decode_rgbe(encode_rgbe({1.0f, 0.5f, 0.0f})), (Vec3{1.0f, 0.5f, 0.0f}));
    EXPECT_TRUE(is_finite(decode_rgbe(encode_rgbe({kInfinity, 1.0f, 3e38f}))));
    EXPECT_GT(decode_rgbe(encode_rgbe({kInfinity, 0.0f, 0.0f})).x, 1e38f);
}

} // namespace mh
