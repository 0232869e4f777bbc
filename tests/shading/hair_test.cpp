// The fibre model: energy of its lobes, its sampler and the edges of its parameters.
// SPDX-License-Identifier: MIT
#include "math/at.h"
#include "math/constants.h"
#include "math/random.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "run/state.h"
#include "shading/hair_table.h"
#include "shading/shaders.h"
#include "support/expect.h"
#include "support/fresh_scene.h"
#include "support/replay.h"

#include <algorithm>
#include <array>
#include <utility>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

HairTable table_of(float alpha, float ior, const Vec3& absorption) {
    HairTable table;
    table.alpha[0] = alpha;
    table.ior = ior;
    table.absorption = absorption;
    const FreshScene quiet; // catches the report
    BuildHairTable(table);
    return table;
}

SurfacePoint fibre_along_z(float sin_o) {
    SurfacePoint point;
    point.tangent = {0.0f, 0.0f, 1.0f};
    point.outgoing = {safe_root(1.0f - sin_o * sin_o), 0.0f, sin_o};
    return point;
}

// Sums of the three lobes over all incoming directions.
std::array<Vec3, 3> lobe_energy(const HairTable& table, float sin_o) {
    constexpr int kSteps = 200;
    const SurfacePoint point = fibre_along_z(sin_o);
    std::array<Vec3, 3> total = {};
    for (int i = 0; i < kSteps * kSteps; ++i) {
        const float u = (static_cast<float>(i % kSteps) + 0.5f) / kSteps;
        const float v = (static_cast<float>(i / kSteps) + 0.5f) / kSteps;
        const Vec3 w = sample_sphere({u, v});
        std::array<Vec3, 3> lobes;
        Vec3 density;
        hair_glossy(table, point.outgoing, w, point, lobes, density);
        EXPECT_TRUE(hair_lobe_pdf(table, point.outgoing, w, point) == density);
        for (std::size_t k = 0; k < 3; ++k)
            total[k] += lobes[k] * (4.0f * kPi / (kSteps * kSteps));
    }
    return total;
}

TEST(HairLobes, KeepTheEnergyOfAFibreThatAbsorbsNothing) {
    for (const float alpha : {0.06f, 0.5f}) {
        const HairTable table = table_of(alpha, 1.55f, {});
        for (const float sin_o : {0.0f, 0.5f, -0.9f}) {
            const std::array<Vec3, 3> energy = lobe_energy(table, sin_o);
            const float total = energy[0].y + energy[1].y + energy[2].y;
            EXPECT_GT(total, 0.96f) << alpha << " " << sin_o; // the rest bounces on inside
            EXPECT_LT(total, 1.05f) << alpha << " " << sin_o;
        }
    }
}

TEST(HairLobes, AreColoredByTheWayThroughTheFibre) {
    const HairTable table = table_of(0.2f, 1.55f, {0.0f, 0.2f, 1.0f});
    const std::array<Vec3, 3> energy = lobe_energy(table, 0.3f);
    EXPECT_EQ(energy[0].x, energy[0].z); // reflection at the surface keeps the light's colour
    const float once = energy[1].y / energy[1].x, twice = energy[2].y / energy[2].x;
    EXPECT_LT(once, 1.0f);
    EXPECT_LT(twice, once);                  // two passes absorb more than one
    EXPECT_GT(once, std::exp(-0.2f * 4.0f)); // no way through is longer than 4 radii over cos_t
}

// The cone's cosine c has density exp(c / v) / (2 v sinh(1 / v)): its integral is uniform. Seen
// along the axis the sampled direction is -c along it.
TEST(HairSampler, DrawsTheConeByItsDensity) {
    HairTable table = table_of(0.1f, 1.55f, {});
    for (const float alpha : {0.05f, 0.101f, 0.3f, 1.0f}) {
        table.alpha[0] = alpha;
        table.variance[0] = alpha * alpha;
        const SeededDraws seed(4);
        SurfacePoint point = fibre_along_z(1.0f);
        point.outgoing = point.tangent;
        std::vector<int> counts(100);
        const double v = static_cast<double>(alpha) * static_cast<double>(alpha);
        for (int i = 0; i < 100000; ++i) {
            Vec3 direction, attenuation;
            ASSERT_EQ(sample_hair(table, 0.3f, point, direction, attenuation), 0);
            const double c = -static_cast<double>(direction.z);
            const double low = std::exp((-1.0 - 1.0) / v);
            const double share = (std::exp((c - 1.0) / v) - low) / (1.0 - low);
            ++at(counts, std::clamp(static_cast<int>(100 * share), 0, 99));
        }
        EXPECT_LT(chi_square(counts, 1000.0), kChiSquare99) << alpha;
    }
}

// What a bounce returns hardly varies, seen across and along: light goes on from fibre to fibre
// without bright samples, and nothing is lost, however scales are tilted.
TEST(HairSampler, KeepsTheWeightOfEverySampleWithTwoWidths) {
    const FreshScene quiet;
    RendererSettings.estimator = Estimator::exact; // reads the whole table
    for (const auto& [sin_o, tilt] : {std::pair{0.0f, 0.0f}, {0.6f, 0.15f}, {-0.97f, -0.15f}}) {
        HairTable table;
        table.alpha[0] = 0.3f;
        table.around = 0.2f;
        table.tilt = tilt;
        table.absorption = {};
        table.sample_all_lobes = true;
        BuildHairTable(table);
        const SeededDraws seed(8);
        std::array<int, 3> counts = {};
        for (int i = 0; i < 3000; ++i) {
            Vec3 direction, attenuation;
            const float h = 2.0f * random_unit() - 1.0f;
            const SurfacePoint point = fibre_along_z(sin_o);
            ++counts.at(to_size(sample_hair(table, h, point, direction, attenuation)));
            ASSERT_NEAR(dot(direction, direction), 1.0f, 1e-3f);
            ASSERT_GT(attenuation.y, 0.0f);
            ASSERT_LT(attenuation.y, 1.0f / 0.9f); // a tenth of the choice is even
        }
        EXPECT_GT(std::min({counts[0], counts[1], counts[2]}), 100) << sin_o;
        const std::array<Vec3, 3> energy = lobe_energy(table, sin_o);
        EXPECT_NEAR(energy[0].y + energy[1].y + energy[2].y, 1.0f, 0.01f) << sin_o;
    }
}

// Seen across a fibre whose middle is hit, R, TT and TRT leave at the angles 0, pi and 0 about it:
// deviations of the samples along it and about it, over the narrow width of R.
TEST(HairSampler, SpreadsLobesByTheirWidths) {
    constexpr float kWidth = 0.02f;

    const struct {
        float around;
        std::array<float, 3> along, about;
        float tilt = 0.0f; // scales turn lobes by 2, -1 and -4 times of it
    } cases[] = {{0.0f, {1, 2, 3}, {1, 2, 3}},
                 {2.5f * kWidth, {1, 0.5f, 2}, {2.5f, 2.5f, 2.5f}},
                 {2.5f * kWidth, {1, 0.5f, 2}, {2.5f, 2.5f, 2.5f}, 0.1f}};

    for (const auto& c : cases) {
        HairTable table = table_of(kWidth, 1.55f, {});
        table.around = c.around;
        table.tilt = c.tilt;
        table.sample_all_lobes = true;
        BuildHairTable(table);
        const SeededDraws seed(5);
        std::array<float, 3> along = {}, about = {}, counts = {};
        for (int i = 0; i < 60000; ++i) {
            Vec3 w, attenuation;
            const auto k = to_size(sample_hair(table, 0.0f, fibre_along_z(0.0f), w, attenuation));
            const float angle = std::atan2(w.y, k == 1 ? -w.x : w.x);
            constexpr std::array<float, 3> kTurns = {2.0f, -1.0f, -4.0f};
            const float z = std::asin(w.z) + kTurns.at(k) * c.tilt;
            along.at(k) += z * z;
            about.at(k) += angle * angle;
            ++counts.at(k);
        }
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_NEAR(std::sqrt(along[k] / counts[k]) / kWidth, c.along[k], 0.03f * c.along[k]);
            EXPECT_NEAR(std::sqrt(about[k] / counts[k]) / kWidth, c.about[k], 0.03f * c.about[k]);
        }
    }
}

Shader hair_shader(float roughness, float ior, const Vec3& transmittance) {
    Shader shader;
    AddSurfaceLayer(shader);
    slot(shader, Element::roughness).color = {roughness, 0.1f, 0.0f};
    slot(shader, Element::ior).color = splat(ior);
    shader.medium.transmittance = transmittance;
    FinishShader(shader);
    SetHairParameters(shader);
    return shader;
}

TEST(HairTable, StaysFiniteForAbsurdParameters) {
    const FreshScene quiet;
    const SeededDraws seed(1);
    for (const auto& [roughness, ior] :
         {std::pair{0.0f, 0.0f}, {1e-9f, 0.5f}, {1e30f, 1.0f}, {-1.0f, 1e6f}}) {
        HairTable table = hair_shader(roughness, ior, splat(1.0f)).hair_table;
        EXPECT_GE(table.alpha[0], 1e-3f);
        BuildHairTable(table);
        const SurfacePoint point = fibre_along_z(0.2f);
        Vec3 direction, attenuation, density;
        for (const Vec3& w : {point.outgoing, -point.outgoing, point.tangent, Vec3{}}) {
            std::array<Vec3, 3> lobes;
            hair_glossy(table, point.outgoing, w, point, lobes, density);
            EXPECT_TRUE(is_finite(lobes[0] + lobes[1] + lobes[2] + density)) << roughness;
        }
        sample_hair(table, 1.0f, point, direction, attenuation);
        EXPECT_TRUE(is_finite(direction + attenuation)) << roughness << " " << ior;
    }
}

TEST(HairTable, TakesItsParametersFromTheFirstLayerAndTheMedium) {
    const HairTable table = hair_shader(0.2f, 1.4f, {0.5f, 1.0f, 1.0f}).hair_table;
    EXPECT_NEAR(table.alpha[0], 9.0f * kRadiansPerDegree, 1e-6f);
    EXPECT_NEAR(table.ior, 1.4f, 1e-6f);
    EXPECT_NEAR(table.absorption.x, std::log(2.0f), 1e-6f);
}

} // namespace
} // namespace mh::test
