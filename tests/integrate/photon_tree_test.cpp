// The photon tree against brute force, packed directions, and the estimate of caustic light.
// SPDX-License-Identifier: MIT
#include "integrate/photon_tree.h"

#include "integrate/caustics.h"
#include "integrate/packed_direction.h"
#include "integrate/state.h"
#include "math/at.h"
#include "math/random.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "run/state.h"
#include "support/expect.h"
#include "support/scene.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>
#include <omp.h>

namespace mh {
namespace {

using namespace test;

Vec3 random_point() {
    const float x = random_unit();
    const float y = random_unit();
    const float z = random_unit();
    return {x, y, z};
}

Vec3 random_direction() {
    const float u = random_unit();
    const float v = random_unit();
    return sample_sphere({u, v});
}

TEST(PackedDirection, StaysWithinThreeDegrees) {
    const SeededDraws draws(2);
    const float limit = std::cos(3.0f * kRadiansPerDegree);
    for (int i = 0; i < 20000; ++i) {
        const Vec3 v = random_direction();
        const Vec3 unpacked = normalize(unpack_unscaled(pack_direction(7.0f * v)));
        EXPECT_GT(dot(v, unpacked), limit) << v.x << " " << v.y << " " << v.z;
    }
    for (const float bad : {0.0f, kNan, kInfinity})
        EXPECT_TRUE(is_finite(unpack_unscaled(pack_direction(splat(bad)))));
}

enum class Cloud { volume, sheet, clusters, coincident };

std::vector<CausticPhoton> make_photons(Cloud cloud, int count) {
    std::vector<CausticPhoton> photons;
    for (int i = 0; i < count; ++i) {
        Vec3 position = random_point();
        if (cloud == Cloud::sheet) position.z = 0.25f;
        if (cloud == Cloud::clusters && i % 2 == 0) position = 1e-3f * position + splat(0.5f);
        if (cloud == Cloud::coincident) position = splat(0.5f);
        const Vec3 direction = random_direction();
        photons.push_back({position, splat(1.0f), pack_direction(direction), 0});
    }
    return photons;
}

// Squared distances of the up to 32 photons within the limit that brute force finds nearest.
std::vector<float> nearest_by_force(const std::vector<CausticPhoton>& photons, const Vec3& position,
                                    const Vec3& normal, float limit) {
    std::vector<float> found;
    for (const CausticPhoton& photon : photons) {
        const Vec3 offset = photon.position - position;
        if (dot(offset, offset) < limit && dot(unpack_unscaled(photon.direction), normal) >= 0.0f)
            found.push_back(dot(offset, offset));
    }
    std::sort(found.begin(), found.end());
    found.resize(std::min<std::size_t>(found.size(), kNearest));
    return found;
}

TEST(PhotonTree, FindsWhatBruteForceFinds) {
    const SeededDraws draws(3);
    for (const Cloud cloud : {Cloud::volume, Cloud::sheet, Cloud::clusters, Cloud::coincident}) {
        for (const int count : {1, 2, 16, 17, 33, 5000}) {
            std::vector<CausticPhoton> photons = make_photons(cloud, count);
            const PhotonTree tree = GrowPhotonTree(photons, 0.0f);
            ASSERT_EQ(photons.size(), to_size(count));
            for (int i = 0; i < 100; ++i) {
                const Vec3 position = random_point();
                const Vec3 normal = random_direction();
                NearestPhotons found;
                found.limit = i % 3 == 0 ? 1e-3f : i % 3 == 1 ? 0.05f : kFar;
                const auto expected = nearest_by_force(photons, position, normal, found.limit);
                find_nearest(tree, photons, position, normal, found);
                auto& distances = found.distance_squared;
                std::sort(distances.begin(), distances.begin() + found.count);
                ASSERT_EQ(to_size(found.count), expected.size());
                EXPECT_TRUE(std::equal(expected.begin(), expected.end(), distances.begin()));
            }
        }
    }
}

TEST(PhotonTree, DoesNotDependOnTheThreads) {
    const SeededDraws draws(4);
    const std::vector<CausticPhoton> photons = make_photons(Cloud::clusters, 30000);
    std::vector<CausticPhoton> serial = photons, parallel = photons;
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    const PhotonTree serial_tree = GrowPhotonTree(serial, 1e-4f);
    omp_set_num_threads(4);
    const PhotonTree parallel_tree = GrowPhotonTree(parallel, 1e-4f);
    omp_set_num_threads(threads);
    EXPECT_EQ(serial_tree.nodes.size(), parallel_tree.nodes.size());
    for (std::size_t i = 0; i < photons.size(); ++i)
        EXPECT_EQ(serial[i].position, parallel[i].position);
}

struct Caustics : testing::Test {
    Caustics() {
        point.normal = {0.0f, 0.0f, 1.0f};
        ray.distance = 1.0f;
        ray.depth = 1; // no cache
    }

    void add(const Vec3& position, float power) {
        Photons.push_back({position, splat(power), pack_direction({0.0f, 0.0f, 1.0f}), 0});
    }

    Scene scene;
    Ray ray;
    SurfacePoint point;
};

TEST_F(Caustics, TwoPhotonsMakeAnEstimateAndOneDoesNot) {
    const auto estimate_within = [&](float radius) {
        RendererSettings.radius = radius;
        BuildPhotonTree();
        return estimate_caustics(ray, point).x;
    };
    EXPECT_EQ(estimate_within(1.0f), 0.0f);
    add({0.5f, 0.0f, 0.0f}, 1.0f);
    add({-0.25f, 0.0f, 0.0f}, 2.0f);
    EXPECT_NEAR(estimate_within(1.0f), 3.0f / (kPi * 0.25f), 1e-5f);
    EXPECT_NE(scene.library.take_report().find("photons                2"), std::string::npos);
    EXPECT_EQ(estimate_within(0.3f), 0.0f); // one is too far
    point.normal = -point.normal;           // they arrived from the other side
    EXPECT_EQ(estimate_within(1.0f), 0.0f);
    point.normal = -point.normal;
    Photons[0].position = Photons[1].position = {}; // at one place
    EXPECT_TRUE(is_finite(splat(estimate_within(1.0f))));
}

// The box of photons on a floor has no thickness, and a hit lies beside the floor by its rounding;
// farther than that outside the box nothing is looked up.
TEST_F(Caustics, HitsBesideAFlatFloorFindItsPhotons) {
    const float height = 100.0f;
    for (int i = 0; i < 100; ++i)
        add({0.1f * static_cast<float>(i % 10), 0.1f * static_cast<float>(i / 10), height}, 1.0f);
    BuildPhotonTree();
    for (const float offset : {0.0f, 2e-5f, -2e-5f}) {
        point.position = {0.5f, 0.5f, height + offset};
        EXPECT_GT(estimate_caustics(ray, point).x, 0.0f) << offset;
    }
    point.position = {0.5f, 0.5f, height + 0.01f};
    EXPECT_EQ(estimate_caustics(ray, point).x, 0.0f);
}

// A camera ray's look-up narrows the thread's next one, and finds the same.
TEST_F(Caustics, CacheOfTheThreadChangesNoResult) {
    for (int i = 0; i < 4000; ++i)
        add({random_unit(), random_unit(), 0.0f}, 1.0f);
    BuildPhotonTree();
    for (int i = 0; i < 200; ++i) {
        point.position = {0.2f + 1e-3f * static_cast<float>(i), 0.5f, 0.0f};
        ray.depth = 1;
        const float fresh = estimate_caustics(ray, point).x;
        ray.depth = 0;
        EXPECT_EQ(estimate_caustics(ray, point).x, fresh);
        EXPECT_LT(ThreadStates[0].last_lookup_radius, 0.1f);
    }
}

} // namespace
} // namespace mh
