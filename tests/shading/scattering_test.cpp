// Glossy and fibre lobes and refraction against closed forms.
// SPDX-License-Identifier: MIT
#include "shading/scattering.h"

#include "math/constants.h"
#include "math/frame.h"
#include "math/random.h"
#include "math/roots.h"
#include "support/expect.h"
#include "support/replay.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

const Vec3 kUp = {0.0f, 0.0f, 1.0f};

SurfacePoint point_of(const Vec3& normal, float roughness_u, float roughness_v) {
    SurfacePoint point;
    point.normal = normal;
    tangent_frame(normal, point.tangent, point.bitangent);
    point.roughness_u = roughness_u;
    point.roughness_v = roughness_v;
    return point;
}

// Share of light along `outgoing` that a surface of reflectance 4 * ward_lobe sends back.
double albedo(const Vec3& outgoing, const SurfacePoint& point) {
    constexpr int kSteps = 400;
    double total = 0.0;
    for (int i = 0; i < kSteps * kSteps; ++i) {
        const float z = (static_cast<float>(i / kSteps) + 0.5f) / kSteps;
        const float phi = kTwoPi * (static_cast<float>(i % kSteps) + 0.5f) / kSteps;
        const float r = safe_root(1.0f - z * z);
        const Vec3 w = from_frame({r * std::cos(phi), r * std::sin(phi), z}, point.tangent,
                                  point.bitangent, point.normal);
        total += static_cast<double>(4.0f * ward_lobe(outgoing, w, point) * z);
    }
    return total * 2.0 * static_cast<double>(kPi) / (kSteps * kSteps);
}

TEST(WardLobe, HasItsClosedFormAtTheMirrorDirection) {
    const SurfacePoint point = point_of(kUp, 0.1f, 0.2f);
    const Vec3 o = {0.6f, 0.0f, 0.8f}, i = {-0.6f, 0.0f, 0.8f};
    // h is the normal and |h'| = 2 cos = 1.6.
    EXPECT_NEAR(ward_lobe(o, i, point), 1.0f / (0.02f * 2.56f * 4.0f * kPi), 1e-4f);
    const Vec3 other = normalize({-0.5f, 0.3f, 0.7f});
    EXPECT_FLOAT_EQ(ward_lobe(o, other, point), ward_lobe(other, o, point));
}

TEST(WardLobe, ReflectsAllLightWhenSmoothAndNeverMore) {
    EXPECT_NEAR(albedo(kUp, point_of(kUp, 0.1f, 0.1f)), 1.0, 0.02); // the lobe's own loss
    for (const float roughness : {0.1f, 0.3f, 0.8f})
        for (const float tilt : {0.0f, 0.8f, 1.4f}) {
            const Vec3 o = {std::sin(tilt), 0.0f, std::cos(tilt)};
            EXPECT_LT(albedo(o, point_of(kUp, roughness, 0.3f)), 1.01) << roughness << " " << tilt;
        }
}

TEST(WardLobe, IsANumberForDegenerateDirections) {
    const Vec3 side = {1.0f, 0.0f, 0.0f};
    for (const float r : {1e-6f, 0.1f, 1e3f})
        for (const Vec3& o : {kUp, side})
            for (const Vec3& i : {kUp, -kUp, side, -side, Vec3{}})
                EXPECT_TRUE(std::isfinite(ward_lobe(o, i, point_of(kUp, r, r)))) << r;
}

// The slopes x = h.t / h.n and y = h.b / h.n of the half vectors are independent and normal, with
// standard deviations ru / sqrt(2) and rv / sqrt(2): their error functions are uniform.
TEST(WardHalfVector, FollowsTheDensityOfItsSlopes) {
    const SeededDraws seed(7);
    const SurfacePoint point = point_of(normalize({0.3f, -0.5f, 0.7f}), 0.15f, 0.45f);
    std::vector<int> counts(100);
    const auto cell = [](float slope, float roughness) {
        const float share = 0.5f * (1.0f + std::erf(slope / roughness));
        return std::clamp(static_cast<int>(10.0f * share), 0, 9);
    };
    for (int i = 0; i < 100000; ++i) {
        const float u = 3.0f * random_unit() - 1.0f; // any range: the angle wraps
        const float v = random_unit();
        const Vec3 h = sample_ward_half_vector(u, v, point);
        ASSERT_NEAR(dot(h, h), 1.0f, 1e-5f);
        const float cosine = dot(h, point.normal);
        const int x = cell(dot(h, point.tangent) / cosine, point.roughness_u);
        const int y = cell(dot(h, point.bitangent) / cosine, point.roughness_v);
        ++counts[static_cast<std::size_t>(10 * y + x)];
    }
    EXPECT_LT(chi_square(counts, 1000.0), kChiSquare99);
    // The ends of the draws: tan = ru sqrt(10) for draws below 1e-10.
    const SurfacePoint round = point_of(kUp, 0.2f, 0.2f);
    EXPECT_GT(sample_ward_half_vector(0.3f, 1.0f, round).z, 0.9999f);
    const Vec3 far = sample_ward_half_vector(0.0f, 0.0f, round);
    EXPECT_NEAR(far.x / far.z, 0.2f * std::sqrt(10.0f), 1e-5f);
}

// Which furnaces do not tell, since they are lit from all sides.
TEST(HairDiffuse, CountsLightByItsCosineAcrossTheAxis) {
    SurfacePoint point;
    point.tangent = {0.0f, 1.0f, 0.0f};
    EXPECT_NEAR(hair_diffuse(kUp, {0.0f, 0.6f, 0.8f}, point), 0.25f * 0.8f, 1e-6f);
    EXPECT_NEAR(hair_diffuse(kUp, -kUp, point), 0.0f, 1e-7f);
}

} // namespace
} // namespace mh::test
