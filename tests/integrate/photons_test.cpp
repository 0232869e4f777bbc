// Photons and the density estimator: cells, conservation of energy, agreement with path tracing
// for every kind of light, caustics. Photons follow one sequence, and points and draws are those of
// every run: but for the room such tests do not fail by chance, and notice what goes beyond their
// bounds.
// SPDX-License-Identifier: MIT
#include "integrate/photons.h"

#include "accel/state.h"
#include "accel/walk.h"
#include "frame/phases.h"
#include "geometry/state.h"
#include "integrate/density.h"
#include "integrate/radiance.h"
#include "integrate/renderer.h"
#include "integrate/state.h"
#include "lights/gaffer.h"
#include "lights/state.h"
#include "math/faces.h"
#include "math/random.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/state.h"
#include "run/state.h"
#include "scene/scene_reader.h"
#include "shading/shaders.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/scene.h"
#include "support/statistics.h"

#include <array>
#include <cmath>
#include <functional>

#include <gtest/gtest.h>
#include <omp.h>

namespace mh {
namespace {

using namespace test;

struct PhotonScene : testing::Test {
    PhotonScene() { RendererSettings.distance = 1.0f; } // final gathering

    Scene scene;
};

const Part& part() {
    return Objects[RootObjectIndex].parts[0];
}

// Light in all cells: radiance times area, summed over both sides.
double energy() {
    double sum_of_cells = 0.0;
    const DensityGrid& grid = IntegrateState.density_grids[0];
    for (const auto* faces : {&grid.triangle_cells, &grid.tetragon_cells}) {
        for (const FaceCells& face : *faces) {
            for (std::uint32_t i = 0; i < face.resolution * face.resolution; ++i) {
                const DensityCell& cell = grid.cells[face.first_cell + i];
                sum_of_cells += static_cast<double>(cell.front.x + cell.back.x)
                                / static_cast<double>(face.cells_per_area);
            }
        }
    }
    return sum_of_cells;
}

Ray hit_on(HitKind kind, float a, float b, float c) {
    Ray ray;
    ray.hit_part = &part();
    ray.hit_kind = kind;
    ray.hit_primitive = 0;
    ray.hit_a = a;
    ray.hit_b = b;
    ray.hit_c = c;
    ray.hit_in_root = ray.front_side = true;
    return ray;
}

// Uniform points of a face fill all its cells, each with the same share.
TEST_F(PhotonScene, CellsPartTheFaceEvenly) {
    const int shader = add_shader({1.0f, 1.0f, 1.0f});
    add_triangle({Vec3{}, Vec3{2, 0, 0}, Vec3{0, 1, 0}}, shader);
    add_level({0, 0}, {1, 1}, 0, shader);
    RendererSettings.resolution = 0.0401f; // 5 by 5 cells of 0.04
    Initialize();
    ASSERT_EQ(IntegrateState.density_grids[0].cells.size(), 50u);
    constexpr int kSteps = 300;
    StartDeposits();
    for (int i = 0; i < kSteps; ++i) {
        for (int j = 0; j < kSteps; ++j) {
            const float u = (static_cast<float>(i) + 0.5f) / kSteps;
            const float v = (static_cast<float>(j) + 0.5f) / kSteps;
            const float s = std::sqrt(v);
            deposit(hit_on(HitKind::triangle, 1.0f - s, s * (1.0f - u), s * u), splat(1.0f));
            deposit(hit_on(HitKind::tetragon, u, v, 0.0f), splat(1.0f));
        }
    }
    FinishDeposits();
    for (const DensityCell& cell : IntegrateState.density_grids[0].cells) {
        EXPECT_NEAR(cell.front.x / (kSteps * kSteps), 1.0f, 0.03f); // borders cut rows of points
        EXPECT_EQ(cell.back.x, 0.0f);
    }
}

// An even rain on a trapezoid and, below, on a parallelogram that stays a quad of 0.05 m2 cells.
TEST_F(PhotonScene, EvenLightIsEvenOnQuadsOfAnyShape) {
    const int shader = add_shader(splat(1.0f));
    add_quad({Vec3{0, 0, 1}, Vec3{4, 0, 1}, Vec3{2.5f, 2, 1}, Vec3{1.5f, 2, 1}}, shader);
    add_quad({Vec3{-3, 0, 0}, Vec3{0, 0, 0}, Vec3{-1, 2, 0}, Vec3{-4, 2, 0}}, shader);
    RendererSettings.resolution = 0.05f;
    Initialize();
    EXPECT_EQ(part().tetragons.size(), 1u);
    StartDeposits();
    constexpr int kDrops = 400000;
    for (int i = 0; i < kDrops; ++i) {
        const float x = 8.0f * random_unit() - 4.0f, y = 2.0f * random_unit();
        Ray ray = camera_ray({x, y, 5}, {x, y, 0});
        if (closest_hit(ray)) deposit(ray, splat(16.0f / kDrops)); // of 16 square metres
    }
    FinishDeposits();
    for (const DensityCell& cell :
         IntegrateState.density_grids[0].cells) // 1200 drops: 5 standard deviations
        EXPECT_NEAR(cell.front.x, 1.0f, 0.15f);
}

TEST_F(PhotonScene, OddHitsStayWithinTheFace) {
    add_triangle({Vec3{}, Vec3{2, 0, 0}, Vec3{0, 1, 0}}, add_shader(splat(1.0f)));
    RendererSettings.resolution = 0.0401f;
    Initialize();
    StartDeposits();
    const std::array<float, 7> odd = {-1e-6f, 0.0f, 1.0f, 1.0000001f, 1e30f, -1e30f, kNan};
    for (const float a : odd)
        for (const float b : odd)
            for (const float c : odd)
                deposit(hit_on(HitKind::triangle, a, b, c), splat(1.0f));
    deposit(hit_on(HitKind::triangle, 0.3f, 0.3f, 0.4f), {kNan, 1.0f, 1.0f});
    for (const int primitive : {-1, 1}) {
        Ray ray = hit_on(HitKind::triangle, 0.3f, 0.3f, 0.4f);
        ray.hit_primitive = primitive;
        deposit(ray, splat(1.0f));
    }
    FinishDeposits();
    EXPECT_NEAR(energy(), 7 * 7 * 7, 1e-3);
}

TEST_F(PhotonScene, MillionEqualDepositsKeepTheirSum) {
    add_floor(0.5f, 0.0f, add_shader({1.0f, 1.0f, 1.0f}));
    Initialize();
    ASSERT_EQ(IntegrateState.density_grids[0].cells.size(), 4u);
    constexpr int kDeposits = 1000000;
    StartDeposits();
#pragma omp parallel for num_threads(4)
    for (int i = 0; i < kDeposits; ++i) {
        Ray ray = hit_on(HitKind::tetragon, 0.2f, 0.2f, 0.0f);
        ray.front_side = i % 2 == 0;
        deposit(ray, splat(0.1f));
    }
    FinishDeposits();
    EXPECT_NEAR(energy() / (0.1 * kDeposits), 1.0, 1e-6);
}

// In a closed room of albedo a every photon is deposited a + a^2 + .. times its power.
TEST_F(PhotonScene, ClosedRoomConservesEnergyOnAnyNumberOfThreads) {
    constexpr double kAlbedo = 0.5;
    add_room({-1.0f, -2.0f, -1.0f}, {1.5f, 1.0f, 1.0f}, add_shader(splat(0.5f)));
    add_point_light({}, 20000);
    RendererSettings.photon_depth = 4;
    RendererSettings.resolution = 0.1f;
    double series = 0.0; // five hits
    for (int k = 1; k <= 5; ++k)
        series += std::pow(kAlbedo, k);
    const int threads = omp_get_max_threads();
    for (const int team : {1, 2}) {
        omp_set_num_threads(team);
        Initialize();
        EXPECT_NEAR(energy() / (4.0 * static_cast<double>(kPi) * series), 1.0, 1e-3);
    }
    omp_set_num_threads(threads);
}

TEST_F(PhotonScene, TooManyCellsEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // OpenMP does not survive a bare fork
    const int shader = add_shader({1.0f, 1.0f, 1.0f});
    for (int i = 0; i < 700; ++i) // 700 * 255 * 255 * 24 bytes
        add_floor(10.0f, static_cast<float>(i), shader);
    RendererSettings.resolution = 1e-6f;
    const auto initialise = [] {
        std::cout.rdbuf(std::cerr.rdbuf()); // where death tests look
        Initialize();
    };
    EXPECT_EXIT(initialise(), testing::ExitedWithCode(1),
                "density estimator consumes more than 1GB memory.\n_{80}\n\n");
}

// A floor with a box over a part of it.
struct LitFloor : Scene {
    LitFloor() {
        const int grey = add_shader({0.6f, 0.5f, 0.4f});
        add_floor(2.0f, 0.0f, grey);
        add_quad({Vec3{-1, 0, 0.2f}, Vec3{0, 0, 0.2f}, Vec3{0, 1, 0.7f}, Vec3{-1, 1, 0.7f}}, grey);
        RendererSettings.distance = 1.0f; // final gathering
        RendererSettings.resolution = 0.02f;
        RendererSettings.photon_depth = 1; // two hits: direct light and one bounce
        RendererSettings.bounce = 2;
        RendererSettings.sample = 64;
    }

    // Mean of the floor's radiance over a grid of points, seen from below the box and above.
    Vec3 mean_radiance(const std::function<Vec3(const Vec3&)>& value) const {
        constexpr int kPoints = 48;
        Vec3 sum_of_points;
        for (int i = 0; i < kPoints * kPoints; ++i) {
            const float x = (static_cast<float>(i % kPoints) + 0.5f) / kPoints;
            const float y = (static_cast<float>(i / kPoints) + 0.5f) / kPoints;
            sum_of_points += value({4.0f * x - 2.0f, 4.0f * y - 2.0f, 0.0f});
        }
        return sum_of_points / static_cast<float>(kPoints * kPoints);
    }

    // A point of the floor as its density cell holds it: hit parameters run along its edges.
    static Vec3 density_at(const Vec3& p) {
        return density_lambertian(
            hit_on(HitKind::tetragon, 0.25f * p.y + 0.5f, 0.25f * p.x + 0.5f, 0.0f));
    }
};

constexpr int kManyPhotons = 200000, kRuns = 16;

TEST(Photons, LeaveTheDensityThatPathsFind) {
    const std::string folder = MOONHARE_SOURCE_DIR "/tests/integrate/lights/";
    ImageSearchPaths = {folder};
    const std::string lights[] = {"sun",       "inner_point", "spot",      "outer_point",
                                  "far_point", "sky",         "sky_image", "lamp"};
    for (const std::string& light : lights) {
        LitFloor floor;
        ASSERT_TRUE(ReadSceneFile(folder + light + ".mh"));
        if (light == "lamp") add_level({-1, -1}, {1, 0}, 1.5f, FindShader(light));
        Initialize();
        const Vec3 density = floor.mean_radiance(LitFloor::density_at);
        RendererSettings.final_gather = false;
        // a ray that starts a hair's breadth over the floor sees the point under the box, too
        const Vec3 traced = floor.mean_radiance([](const Vec3& p) {
            return seen_along(p + Vec3{0.0f, 0.0f, 1e-3f}, p);
        });
        EXPECT_GT(traced.x, 0.05f) << light;
        expect_near(density / traced, splat(1.0f), 0.01f);
        ASSERT_FALSE(HasFailure()) << light;
    }
    ImageSearchPaths.clear();
}

// Gather rays that read the grid see what paths of the same length see.
TEST_F(PhotonScene, GatheringInARoomIsWhatPathsFind) {
    add_room({-1.0f, -1.0f, -1.0f}, {1.0f, 1.0f, 1.0f}, add_shader(splat(0.5f)));
    add_point_light({0.2f, 0.1f, 0.3f}, kManyPhotons);
    RendererSettings.resolution = 0.01f;
    RendererSettings.sample = 64;
    Initialize();
    const auto gathered_over_traced = [](int) {
        double gathered = 0.0, traced = 0.0;
        for (int i = 0; i < 32; ++i) {
            const Vec3 eye = {-0.3f, -0.4f, 0.0f};
            const Vec3 target = {0.9f * std::sin(0.2f * static_cast<float>(i)),
                                 0.9f * std::cos(0.2f * static_cast<float>(i)), -1.0f};
            RendererSettings.final_gather = true;
            RendererSettings.bounce = 1;
            gathered += static_cast<double>(seen_by_chance(eye, target).x);
            RendererSettings.final_gather = false;
            RendererSettings.bounce = 10;
            RendererSettings.ray_depth = 20;
            traced += static_cast<double>(seen_by_chance(eye, target).x);
        }
        return gathered / traced;
    };
    expect_unbiased("room", mean_of_runs(kRuns, gathered_over_traced), 1.0, {0.02, 0.005});
}

// A floor stores no caustics of a photon that met no mirror; linked shaders only. Gather rays see
// the light of the linked one, a curtain, from below.
TEST_F(PhotonScene, LinksEndPhotonsAtTheirFirstHit) {
    const int lit = add_shader(), unlit = add_shader(splat(0.5f));
    slot(lit, Element::transmissive).color = splat(0.5f);
    add_level({-1, -1}, {0, 1}, 0, lit);
    add_level({0, -1}, {1, 1}, 0, unlit);
    add_parallel_light({0.0f, 0.0f, -1.0f}, 100000).link.shaders = {lit};
    Initialize();
    EXPECT_NEAR(energy(), 1.0, 0.04); // 2 units of area, albedo 0.5, irradiance 1
    EXPECT_TRUE(Photons.empty());
    for (const float z : {1.0f, -1.0f}) {
        Ray ray = camera_ray({-0.5f, 0.0f, z}, {-0.5f, 0.0f, 0.0f});
        ray.diffuse_bounces = 1;
        EXPECT_NEAR(radiance(ray).x, z > 0.0f ? 0.0f : 0.5f, 0.01f);
    }
}

// Exactly: the mean of the cosines over the cone of directions is that of the axis times
// (1 + cos blur) / 2.
TEST_F(PhotonScene, BlurredParallelLightBringsItsIrradiance) {
    constexpr float kBlur_deg = 20.0f;
    add_floor(1.0f, 0.0f, add_shader(splat(1.0f)));
    RendererSettings.estimator = Estimator::exact;
    for (const float tilt_deg : {30.0f, 60.0f}) {
        ParallelLights.clear();
        const float tilt = tilt_deg * kPi / 180.0f;
        add_parallel_light({std::sin(tilt), 0.0f, -std::cos(tilt)}, 200000).blur = kBlur_deg;
        Initialize();
        const float cosine = std::cos(tilt) * 0.5f * (1.0f + std::cos(kBlur_deg * kPi / 180.0f));
        EXPECT_NEAR(energy() / static_cast<double>(4.0f * cosine), 1.0, 0.01) << tilt_deg;
    }
}

// A ball shines on what it is clear of as from its middle: the floor takes its solid angle from
// there. From the sky, the cone of photons holds all that the ball may reach.
TEST_F(PhotonScene, SoftPointLightsBringTheLightOfTheirMiddle) {
    constexpr float kHalf = 2.0f; // of the floor's edge
    add_floor(kHalf, 0.0f, add_shader(splat(1.0f)));
    RendererSettings.estimator = Estimator::exact;
    PointLight& light = add_point_light({}, 400000);
    for (const auto& [height, blur] : {std::pair(1.0f, 0.4f), {1.0f, 0.0f}, {7.0f, 2.0f}}) {
        light.position = {0.0f, 0.0f, height};
        light.blur = blur;
        Initialize();
        const float to_corner = std::sqrt(height * height + 2.0f * kHalf * kHalf);
        const float angle = 4.0f * std::atan(kHalf * kHalf / (height * to_corner));
        EXPECT_NEAR(energy() / static_cast<double>(angle), 1.0, 2e-3) << height << " " << blur;
    }
}

// A ball around a small floor, as bright in every direction: color / blur^2, on both sides.
TEST_F(PhotonScene, SoftPointLightsShineOnWhatLiesWithin) {
    add_floor(0.1f, 0.0f, add_shader(splat(1.0f)));
    RendererSettings.estimator = Estimator::exact;
    add_point_light({0.1f, 0.0f, 0.2f}, 400000).blur = 0.5f;
    Initialize();
    EXPECT_NEAR(energy() / (2.0 * 0.04 * 4.0), 1.0, 0.01);
}

// Two lamps over glass, far from each other.
TEST_F(PhotonScene, OnlyVirtualLightsThrowCaustics) {
    for (const float x : {-1000.0f, 1000.0f}) {
        const int lamp = x < 0.0f ? add_emitter(splat(1.0f)) : add_lamp(splat(1.0f));
        add_level({x, 0}, {x + 1, 1}, 1, lamp, false);
        add_level({x, 0}, {x + 1, 1}, 0.5f, add_glass(Material::thin));
        add_level({x, 0}, {x + 1, 1}, 0, add_shader(splat(1.0f)));
    }
    GeometryLight.photons = 1000;
    Initialize();
    EXPECT_FALSE(Photons.empty());
    for (const CausticPhoton& photon : Photons)
        EXPECT_GT(photon.position.x, 0.0f);
}

// A glossy wall sends photons straight to the camera: the mean of the light_path image is the
// power that the wall reflects towards the pixels.
TEST_F(PhotonScene, GlossyPhotonsReachTheLightPathImage) {
    const int gloss = add_shader();
    slot(gloss, Element::glossy).color = {1.0f, 1.0f, 1.0f};
    slot(gloss, Element::roughness).color = splat(0.5f);
    add_floor(1.0f, 0.0f, gloss);
    add_parallel_light({0.0f, 0.0f, -1.0f}, 200000);
    place_camera(4, {0.0f, 0.0f, 3.0f}, {}, {0.0f, 1.0f, 0.0f}, 10.0f);
    add_aov(Cameras[0].aovs, Channel::light_path);
    Initialize();
    InitializeRenderer(); // the image starts from empty again
    // the lobe at the mirror direction: exp(0) / (r^2 |2 n|^2), times a light of 1
    const std::vector<float>& pixels = Cameras[0].aovs[1].image.floats;
    ASSERT_EQ(pixels.size(), 48u);
    double mean_of_pixels = 0.0;
    for (const float value : pixels)
        mean_of_pixels += static_cast<double>(value) / 48.0;
    EXPECT_NEAR(mean_of_pixels * 0.25 * 4.0, 1.0, 0.05);
}

TEST(PhotonWork, WeighsLightsByWhatTheirPhotonsCost) {
    PhotonWork work;
    work.photons = 2000;
    work.trying = true;
    for (const std::int64_t cost : {1000, 9000}) {
        LightWork& light = begin_light(work, 1000);
        light.cast = light.timed = photons_of_round(work, light.count);
        light.time_ns = cost * light.timed;
        count_light(work, light);
    }
    work.trying = false;
    work.begun = 0;
    LightWork& cheap = begin_light(work, 1000);
    EXPECT_DOUBLE_EQ(share_done(work, cheap), 0.04);
    cheap.cast = cheap.count;
    EXPECT_DOUBLE_EQ(share_done(work, cheap), (1000 * 1.0 + 40 * 9.0) / 10000);
}

} // namespace
} // namespace mh
