// Glossy and fibre lobes and refraction against closed forms.
// SPDX-License-Identifier: MIT
#include "shading/scattering.h"

#include "math/at.h"
#include "math/constants.h"
#include "math/frame.h"
#include "math/random.h"
#include "math/roots.h"
#include "shading/microfacet.h"
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
        ++at(counts, 10 * y + x);
    }
    EXPECT_LT(chi_square(counts, 1000.0), kChiSquare99);
    // The ends of the draws: tan = ru sqrt(10) for draws below 1e-10.
    const SurfacePoint round = point_of(kUp, 0.2f, 0.2f);
    EXPECT_GT(sample_ward_half_vector(0.3f, 1.0f, round).z, 0.9999f);
    const Vec3 far = sample_ward_half_vector(0.0f, 0.0f, round);
    EXPECT_NEAR(far.x / far.z, 0.2f * std::sqrt(10.0f), 1e-5f);
}

SurfacePoint facets_of(const Vec3& outgoing, float roughness_u, float roughness_v) {
    SurfacePoint point = point_of(kUp, roughness_u, roughness_v);
    point.microfacet = Microfacet::ggx;
    point.geometric_normal = kUp;
    point.outgoing = outgoing;
    point.f0 = splat(1.0f);
    return point;
}

// Directions of sampled facets fall into 10 by 10 cells of equal solid angle as often as the
// density says; a last cell counts those below the surface and in cells of few. And their shares
// sum to that of the integral.
TEST(Facets, AreSampledByTheirDensity) {
    constexpr int kDraws = 100000, kCells = 10, kSteps = 40;
    const SeededDraws seed(3);
    for (const float tilt : {0.0f, 0.9f, 1.45f}) {
        const Vec3 o = {std::sin(tilt), 0.0f, std::cos(tilt)};
        SurfacePoint point = facets_of(o, 0.7f, 0.35f);
        tangent_frame(kUp, point.bitangent, point.tangent); // any frame, of either hand
        std::vector<double> expected(kCells * kCells + 1, 0.0);
        double integral = 0.0, total = 0.0, sampled = 0.0;
        for (int i = 0; i < kCells * kCells * kSteps * kSteps; ++i) {
            constexpr int kRow = kCells * kSteps;
            const float z = (static_cast<float>(i / kRow) + 0.5f) / kRow;
            const float phi = kTwoPi * (static_cast<float>(i % kRow) + 0.5f) / kRow;
            const float r = safe_root(1.0f - z * z);
            const FacetLobe lobe =
                evaluate_facets(point, {r * std::cos(phi), r * std::sin(phi), z});
            const double part = static_cast<double>(lobe.density * kTwoPi) / (kRow * kRow);
            const int cell = i / kRow / kSteps * kCells + i % kRow / kSteps;
            expected[static_cast<std::size_t>(cell)] += kDraws * part;
            integral += part * static_cast<double>(lobe.share.x);
            total += part;
        }
        expected.back() = kDraws * (1.0 - total);
        std::vector<std::size_t> cells(expected.size());
        for (std::size_t i = 0; i < cells.size(); ++i) {
            constexpr double kFew = 20.0;
            cells[i] = expected[i] < kFew ? expected.size() - 1 : i;
            if (cells[i] == i) continue;
            expected.back() += expected[i];
            expected[i] = 1e-9;
        }
        std::vector<int> counts(expected.size());
        for (int i = 0; i < kDraws; ++i) {
            const float u = random_unit();
            const float v = random_unit();
            const Vec3 h = sample_visible_facet(point, u, v);
            const Vec3 w = 2.0f * dot(h, o) * h - o;
            float turns = std::atan2(w.y, w.x) / kTwoPi;
            turns -= std::floor(turns);
            const int row = std::min(static_cast<int>(w.z * kCells), kCells - 1);
            const int column = std::min(static_cast<int>(turns * kCells), kCells - 1);
            ++counts[w.z > 0.0f ? cells[static_cast<std::size_t>(row * kCells + column)]
                                : counts.size() - 1];
            sampled += static_cast<double>(evaluate_facets(point, w).share.x) / kDraws;
        }
        EXPECT_LT(chi_square(counts, expected), kChiSquare99) << tilt;
        EXPECT_NEAR(sampled, integral, 0.005) << tilt;
        EXPECT_LT(integral, 1.0) << tilt;
    }
}

TEST(Facets, HaveTheirClosedForms) {
    // Of width 1 facets mirror light along the normal evenly to all sides: the light that is not
    // masked is the integral of z / (1 + z) over the hemisphere's z.
    const SurfacePoint rough = facets_of(kUp, 1.0f, 1.0f);
    double albedo = 0.0;
    for (float z = 0.0005f; z < 1.0f; z += 0.001f) {
        const FacetLobe lobe = evaluate_facets(rough, {safe_root(1.0f - z * z), 0.0f, z});
        EXPECT_NEAR(lobe.density, 0.25f / kPi, 1e-5f);
        albedo += static_cast<double>(kTwoPi * 0.001f * lobe.density * lobe.share.x);
    }
    EXPECT_NEAR(albedo, 1.0 - std::log(2.0), 1e-3);
    // Helmholtz: density times share over the cosine of the other side.
    for (const Microfacet kind : {Microfacet::ggx, Microfacet::ggx_separable}) {
        const Vec3 a = normalize({0.9f, 0.2f, 0.3f}), b = normalize({-0.3f, 0.8f, 0.6f});
        SurfacePoint there = facets_of(a, 0.3f, 0.6f), back = facets_of(b, 0.3f, 0.6f);
        there.f0 = back.f0 = {0.9f, 0.5f, 0.1f};
        there.facet_ior = back.facet_ior = 1.5f;
        there.microfacet = back.microfacet = kind;
        const FacetLobe to = evaluate_facets(there, b), from = evaluate_facets(back, a);
        expect_near(to.density / b.z * to.share, from.density / a.z * from.share, 1e-5f);
    }
    SurfacePoint glass;
    glass.facet_ior = 1.5f;
    EXPECT_NEAR(facet_reflectance(glass, 1.0f).x, 0.04f, 1e-6f);
    EXPECT_NEAR(facet_reflectance(glass, std::cos(std::atan(1.5f))).x, // half of what is across
                0.5f * 25.0f / 169.0f, 1e-5f);
    glass.facet_ior = 1.0f / 1.5f;
    EXPECT_EQ(facet_reflectance(glass, 0.7f).x, 1.0f); // beyond the critical angle
}

// Along the normal a white surface of Burley returns 1 - 1/42 + 5 r/84, one of Oren and Nayar
// 1 / (1 + (1/2 - 2/(3 pi)) sigma).
TEST(DiffuseShare, HasItsClosedForms) {
    SurfacePoint point = point_of(kUp, 0.25f, 0.25f); // r is 0.5
    const auto albedo = [&] {
        double sum = 0.0;
        for (float z = 0.0005f; z < 1.0f; z += 0.001f)
            sum += static_cast<double>(0.002f * z
                                       * diffuse_share(point, {safe_root(1.0f - z * z), 0.0f, z}));
        return sum;
    };
    point.outgoing = kUp;
    point.diffuse_model = DiffuseModel::burley;
    EXPECT_NEAR(albedo(), 1.0 - 1.0 / 42.0 + 2.5 / 84.0, 1e-4);
    point.diffuse_model = DiffuseModel::oren_nayar;
    const double scale = 1.0 / (1.0 + (0.5 - 2.0 / (3.0 * static_cast<double>(kPi))) * 0.25);
    EXPECT_NEAR(albedo(), scale, 1e-4);
    point.diffuse_model = DiffuseModel::sheen; // Cycles' of a plane, which is a quarter: 0.000258
    EXPECT_NEAR(albedo() / 4.0, 0.000257, 2e-6);
    point.diffuse_model = DiffuseModel::oren_nayar;
    point.outgoing = {0.8f, 0.0f, 0.6f}; // back to where it came from: t = sin tan
    EXPECT_NEAR(diffuse_share(point, point.outgoing), scale * (1.0 + 0.25 * 0.64 / 0.6), 1e-5);
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
