// The lamps of the exact estimator: points on one of them, the choice among many, and its sky.
// SPDX-License-Identifier: MIT
#include "lights/lamp_shape.h"
#include "lights/lamp_tree.h"
#include "lights/sky_distribution.h"
#include "lights/sky_light.h"
#include "lights/sky_map.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/random.h"
#include "math/roots.h"
#include "math/sobol.h"
#include "shading/images.h"
#include "support/expect.h"
#include "support/scene.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

Lamp make_lamp(const Vec3& corner, const Vec3& edge_u, const Vec3& edge_v, bool triangle) {
    Lamp lamp;
    lamp.corner = corner;
    lamp.edge_u = edge_u;
    lamp.edge_v = edge_v;
    lamp.triangle = triangle;
    FinishLamp(lamp, true);
    lamp.sampled = true;
    lamp.emission = splat(1.0f);
    return lamp;
}

std::vector<Vec3> corners_of(const Lamp& lamp) {
    const Vec3 a = lamp.corner, u = lamp.edge_u, v = lamp.edge_v;
    if (lamp.triangle) return {a, a + u, a + v};
    return {a, a + u, a + u + v, a + v};
}

constexpr std::uint32_t kPoints = 1 << 14;

// All points lie on the lamp and have the density that is told of their directions; integrals of
// the direction by them are the closed forms.
void expect_even_points(const Lamp& lamp, const Vec3& from, const std::string& name) {
    constexpr float kMargin = 0.05f; // of places; directions at grazing angles are that coarse
    double light[3] = {};
    for (std::uint32_t i = 0; i < kPoints; ++i) {
        const LampPoint x =
            sample_lamp(lamp, from, scrambled_pair(reverse_bits(i), 0x123456789ABCDEFu));
        ASSERT_GT(x.density, 0.0f) << name;
        const Vec3 p = from + x.distance * x.direction;
        const Vec2 place = place_on(lamp, p);
        const float last = lamp.triangle ? place.x + place.y : std::max(place.x, place.y);
        ASSERT_GT(std::min(place.x, place.y), -kMargin) << name;
        ASSERT_LT(last, 1.0f + kMargin) << name;
        ASSERT_NEAR(lamp_density(lamp, from, x.direction, x.distance) / x.density, 1.0f, 1e-3f);
        for (int k = 0; k < 3; ++k)
            light[k] += static_cast<double>((&x.direction.x)[k] / x.density) / kPoints;
    }
    const Vec3 expected = polygon_light(corners_of(lamp), from);
    const Vec3 found = {static_cast<float>(light[0]), static_cast<float>(light[1]),
                        static_cast<float>(light[2])};
    const Vec3 error = found - expected;
    EXPECT_LT(dot(error, error) / dot(expected, expected), 2e-3f * 2e-3f) << name;
}

} // namespace

TEST(Lamp, PointsHaveTheirDensitiesNearFarAndGrazing) {
    const std::pair<const char*, Lamp> lamps[] = {
        {"triangle", make_lamp({0, 0, 0}, {2, 0.5f, 0}, {0, 1, 0}, true)},
        {"rectangle", make_lamp({-1, -1, 0}, {3, 0, 0}, {0, 2, 0}, false)},
        {"sheared", make_lamp({0, 0, 0}, {2, 0, 0}, {1.5f, 1, 0}, false)},
        {"strip", make_lamp({-50, 0, 0}, {100, 0, 0}, {0, 0.05f, 0}, false)}};
    const std::pair<const char*, Vec3> viewers[] = {
        {"near", {0.3f, 0.25f, 0.1f}},   {"at a corner", {0, 0, 0.5f}},
        {"close", {0.5f, 0.4f, 0.002f}}, {"far", {10, 20, 30}},
        {"beside", {3, -1, 0.5f}},       {"grazing", {4, 1, 0.02f}}};
    for (const auto& [lamp_name, lamp] : lamps)
        for (const auto& [viewer_name, from] : viewers)
            expect_even_points(lamp, from, std::string(lamp_name) + " " + viewer_name);
    EXPECT_EQ(sample_lamp(lamps[0].second, {0, 0, -1}, {0.5f, 0.5f}).density, 0.0f);
    EXPECT_EQ(lamp_density(lamps[0].second, {0, 0, -1}, {0, 0, 1}, 1.0f), 0.0f);
}

struct LampCloud : testing::Test {
    LampHit hit_of(std::size_t i, float s, float t) const {
        const Lamp& lamp = set.lamps[i];
        return {lamp.corner + s * lamp.edge_u + t * lamp.edge_v,
                nullptr,
                lamp.primitive,
                lamp.triangle,
                lamp.front,
                1e-5f};
    }

    // The chances of all lamps sum to 1, are those by which numbers choose, and are found by hits.
    void expect_chances(const Vec3& from) const {
        constexpr int kChoices = 16384;
        double total = 0.0; // with what chose lamps of which none shines on the point
        std::vector<double> chosen(set.lamps.size()), told(set.lamps.size());
        for (int i = 0; i < kChoices; ++i) {
            const auto choice = choose_lamp(set, from, (static_cast<float>(i) + 0.5f) / kChoices);
            if (choice.lamp < 0) {
                total += 1.0 / kChoices;
                continue;
            }
            at(chosen, choice.lamp) += 1.0 / kChoices;
            at(told, choice.lamp) = static_cast<double>(choice.probability);
        }
        for (std::size_t i = 0; i < set.lamps.size(); ++i) {
            const LampChoice found = find_lamp(set, from, hit_of(i, 0.2f, 0.7f));
            if (dot(from - set.lamps[i].corner, set.lamps[i].normal) > 0.0f) {
                ASSERT_EQ(found.lamp, static_cast<std::int32_t>(i));
            }
            if (found.lamp != static_cast<std::int32_t>(i)) continue;
            const auto chance = static_cast<double>(found.probability);
            total += chance;
            EXPECT_NEAR(chosen[i], chance, 2.0 / kChoices);
            EXPECT_NEAR(told[i] > 0.0 ? told[i] : chance, chance, 1e-5);
        }
        EXPECT_NEAR(total, 1.0, 2e-3);
    }

    LampSet set;
};

TEST_F(LampCloud, ChancesSumToOneAndAreFound) {
    const SeededDraws draws(11);
    const auto random_vector = [] {
        const float x = random_unit(), y = random_unit(), z = random_unit();
        return 2.0f * Vec3{x, y, z} - splat(1.0f);
    };
    for (std::uint32_t i = 0; i < 100; ++i) {
        set.lamps.push_back(
            make_lamp(random_vector(), 0.5f * random_vector(), 0.5f * random_vector(), i % 2 == 0));
        set.lamps.back().primitive = i / 4; // those of an object in four instances
        set.lamps.back().emission = splat(std::pow(random_unit(), 4.0f) + 1e-3f);
    }
    BuildLampTree(set);
    for (int i = 0; i < 20; ++i)
        expect_chances(2.0f * random_vector());
    set.lamps[0].emission = splat(3e38f);
    BuildLampTree(set);
    EXPECT_EQ(choose_lamp(set, set.lamps[0].corner, 0.5f).lamp, -1) << "more than a float holds";
}

// Squares on their corners in one plane, instances of one: their boxes overlap.
TEST_F(LampCloud, NeighboursInAPlaneAreToldApart) {
    for (int i = 0; i < 16; ++i) {
        const int row = i / 4; // every other one between those of the last
        const Vec3 corner = {static_cast<float>(i % 4) + 0.5f * static_cast<float>(row % 2),
                             0.5f * static_cast<float>(row), 0};
        set.lamps.push_back(make_lamp(corner, {0.5f, 0.5f, 0}, {-0.5f, 0.5f, 0}, false));
        set.lamps.back().emission = splat(1.0f + static_cast<float>(i));
    }
    BuildLampTree(set);
    for (std::size_t i = 0; i < set.lamps.size(); ++i)
        for (const float s : {0.05f, 0.95f})
            for (const float t : {0.05f, 0.95f})
                EXPECT_EQ(find_lamp(set, {1, 1, 3}, hit_of(i, s, t)).lamp, static_cast<int>(i));
}

namespace {

// A black sky with single bright pixels, which look-ups spread over their neighbours.
constexpr int kSkyWidth = 1024, kSkyHeight = 512;

void paint_sky(const std::vector<std::pair<int, int>>& pixels) {
    AllocateImage(SkyLight.image, kSkyWidth, kSkyHeight, 3, 32, false);
    for (int i = 0; i < kSkyWidth * kSkyHeight; ++i)
        set_texel(SkyLight.image, i, Vec3{});
    for (const auto& [x, y] : pixels)
        set_texel(SkyLight.image, y * kSkyWidth + x, splat(1000.0f));
    SkyLight.image.loaded = true;
    SkyLight.sampler.wrap_v = Wrap::clamp;
    SkyLight.color = splat(1.0f);
}

Vec3 direction_at(double x, double y) {
    const double turn =
        static_cast<double>(kTwoPi) * (1.0 - x / kSkyWidth) - static_cast<double>(kPi);
    const double polar = static_cast<double>(kPi) * y / kSkyHeight;
    return SkyLight.from_sky
           * Vec3{static_cast<float>(std::sin(polar) * std::cos(turn)),
                  static_cast<float>(std::sin(polar) * std::sin(turn)),
                  static_cast<float>(std::cos(polar))};
}

// Integral of the sky's image around a pixel by its own coordinates.
double integral_around(int x, int y) {
    constexpr int kSteps = 32;
    const double pixel = 2.0 * static_cast<double>(kPi * kPi) / kSkyWidth / kSkyHeight;
    double light = 0.0;
    for (int j = -2 * kSteps; j < 3 * kSteps; ++j)
        for (int i = -2 * kSteps; i < 3 * kSteps; ++i) {
            const double u = (x + (i + 0.5) / kSteps) / kSkyWidth;
            const double v = (y + (j + 0.5) / kSteps) / kSkyHeight;
            const Vec3 radiance =
                sky_image_radiance({static_cast<float>(u), static_cast<float>(v)});
            light += static_cast<double>(radiance.x) * std::sin(static_cast<double>(kPi) * v)
                     * pixel / (kSteps * kSteps);
        }
    return light;
}

} // namespace

// Spots in the middle of a face, on an edge, in a corner, between, and at the zenith; samples bring
// the light of each, and know themselves by their directions.
TEST(SkyDistribution, KeepsTheLightOfSmallSpotsAnywhere) {
    Scene scene;
    const std::vector<std::pair<int, int>> spots = {{512, 256}, {640, 256}, {384, 180}, {383, 331},
                                                    {100, 300}, {200, 5},   {700, 128}, {896, 156}};
    paint_sky(spots);
    InitializeSkyLight();
    BuildSkyDistribution();
    std::vector<double> light(spots.size());
    int strangers = 0; // rounded across the border of a texel
    constexpr std::uint32_t kDraws = 1 << 18;
    for (std::uint32_t i = 0; i < kDraws; ++i) {
        const SkyDraw draw = draw_sky(scrambled_pair(reverse_bits(i), 0x123456789ABCDEFu));
        ASSERT_GT(draw.density, 0.0f);
        const SkyDraw seen = seen_sky(draw.direction, sky_texel(draw.direction));
        const bool known =
            seen.radiance == draw.radiance && std::fabs(seen.density / draw.density - 1.0f) < 1e-4f;
        strangers += known ? 0 : 1;
        for (std::size_t k = 0; k < spots.size(); ++k)
            if (dot(draw.direction, direction_at(spots[k].first + 0.5, spots[k].second + 0.5))
                > 0.999f)
                light[k] += static_cast<double>(draw.radiance.x / draw.density) / kDraws;
    }
    EXPECT_LT(strangers, 20);
    for (std::size_t k = 0; k < spots.size(); ++k)
        EXPECT_NEAR(light[k] / integral_around(spots[k].first, spots[k].second), 1.0, 2e-3) << k;
}

} // namespace mh::test
