// Rays per second of the walks, beside Embree's single-ray calls when it is there: primary,
// diffuse-bounce and shadow rays on five scenes, one and two pinned threads, medians of runs
// by turns.
// SPDX-License-Identifier: MIT
#include "accel/state.h"
#include "accel/walk.h"
#include "geometry/state.h"
#include "math/at.h"
#include "math/constants.h"
#include "options.h"
#include "rays.h"
#include "turns.h"
#ifdef MOONHARE_EMBREE
#include "embree_side.h"
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>

namespace mh::bench {

namespace {

int runs = 7;
int side = 512;

#ifdef MOONHARE_EMBREE

// Grazing and edge rays may differ between two exact implementations; more is a fault.
constexpr double kMayDiffer = 2e-3;
constexpr float kSameDistance = 1e-3f;

bool same_distance(float a, float b) {
    return std::fabs(a - b) <= kSameDistance * std::max(1.0f, std::min(a, b));
}

void check(const std::string& what, std::size_t wrong, std::size_t count) {
    if (static_cast<double>(wrong) <= kMayDiffer * static_cast<double>(count)) return;
    std::printf("%s: %zu of %zu rays differ\n", what.c_str(), wrong, count);
    std::exit(1);
}

void check_agreement(const std::string& name, const EmbreeScene& other, const RaySets& rays) {
    for (const auto* set : {&rays.primary, &rays.bounce})
        check(name,
              to_size(std::count_if(set->begin(), set->end(),
                                    [&](const BenchRay& ray) {
                                        return !same_distance(our_closest(ray),
                                                              embree_closest(other, ray));
                                    })),
              set->size());
    check(name + " shadow",
          to_size(std::count_if(rays.shadow.begin(), rays.shadow.end(),
                                [&](const BenchRay& ray) {
                                    return our_occluded(ray) != embree_occluded(other, ray);
                                })),
          rays.shadow.size());
}

#endif

std::vector<int> processors; // one or two, for as many threads

// A pass over some rays on so many threads.
using MakePass = std::function<Task(std::span<const BenchRay>, int threads)>;

struct Contestant {
    std::string name;
    MakePass closest, shadow;
};

template<typename Query>
MakePass passes_of(const std::string& name, Query query) {
    return [=](std::span<const BenchRay> rays, int threads) {
        return pass_of(name, rays, query, threads);
    };
}

// Millions of rays per second of each contestant.
std::vector<double> rates_of(const std::vector<BenchRay>& rays, bool shadow, int threads,
                             const std::vector<Contestant>& contestants) {
    std::vector<Task> tasks;
    for (const Contestant& c : contestants)
        tasks.push_back((shadow ? c.shadow : c.closest)(rays, threads));
    std::vector<double> rates;
    for (const double time : MedianSeconds(tasks, runs))
        rates.push_back(1e-6 * static_cast<double>(rays.size()) / time);
    return rates;
}

void time_rays(const char* kind, const std::vector<BenchRay>& rays, bool shadow,
               const std::vector<Contestant>& contestants) {
    std::printf("  %-8s", kind);
    for (int threads = 1; threads <= static_cast<int>(processors.size()); ++threads) {
        const std::vector<double> rates = rates_of(rays, shadow, threads, contestants);
        std::printf(" %8.2f", rates[0]);
        if (rates.size() == 1) continue;
        const auto best = std::max_element(rates.begin() + 1, rates.end()) - rates.begin();
        const auto i = to_size(best);
        std::printf(" %8.2f %6.2f  %-13s", rates[i], rates[0] / rates[i],
                    contestants[i].name.c_str());
    }
    std::printf("\n");
    std::fflush(stdout);
}

template<typename Work>
void silently(const Work& work) {
    std::streambuf* const console = std::cout.rdbuf(nullptr);
    work();
    std::cout.rdbuf(console);
}

void run_scene(const Scene& scene) {
    double build_seconds = 0.0;
    silently([&] { build_seconds = LoadScene(scene); });
    const RaySets rays = MakeRays(scene, side);
    std::vector<Contestant> contestants = {
        {"moonhare", passes_of("moonhare", our_closest), passes_of("moonhare", our_occluded)}};
    std::printf("%s: tree %.3f s", scene.name.c_str(), build_seconds);
#ifdef MOONHARE_EMBREE
    std::vector<EmbreeScene> others = MakeEmbreeScenes(scene);
    check_agreement(scene.name, others[0], rays);
    for (const EmbreeScene& other : others) {
        std::printf(", %s %.3f s", other.name.c_str(), other.build_seconds);
        const auto closest = [&](const BenchRay& ray) { return embree_closest(other, ray); };
        const auto occluded = [&](const BenchRay& ray) { return embree_occluded(other, ray); };
        contestants.push_back(
            {other.name, passes_of(other.name, closest), passes_of(other.name, occluded)});
    }
#endif
    std::printf("\n");
    time_rays("primary", rays.primary, false, contestants);
    time_rays("bounce", rays.bounce, false, contestants);
    time_rays("shadow", rays.shadow, true, contestants);
#ifdef MOONHARE_EMBREE
    for (EmbreeScene& other : others)
        FreeEmbreeScene(other);
#endif
}

// Terrains from a thousand to ten million triangles.
void run_growth() {
    std::printf("Nanoseconds a ray\n  %10s %8s %8s %8s %10s\n", "triangles", "primary", "bounce",
                "shadow", "B/triangle");
    for (const std::uint32_t cells : {22u, 71u, 224u, 707u, 2236u}) {
        const Scene scene = Terrain(cells);
        silently([&] { LoadScene(scene); });
        const RaySets rays = MakeRays(scene, side);
        std::vector<double> nanoseconds =
            MedianSeconds({pass_of("primary", rays.primary, our_closest),
                           pass_of("bounce", rays.bounce, our_closest),
                           pass_of("shadow", rays.shadow, our_occluded)},
                          runs);
        for (std::size_t i = 0; const auto* set : {&rays.primary, &rays.bounce, &rays.shadow})
            nanoseconds[i++] *= 1e9 / static_cast<double>(set->size());
        const auto triangles = static_cast<double>(scene.mesh.triangles.size());
        const auto bytes = static_cast<double>(Trees[0].walk.size() * sizeof(WalkUnit));
        std::printf("  %10.0f %8.1f %8.1f %8.1f %10.1f\n", triangles, nanoseconds[0],
                    nanoseconds[1], nanoseconds[2], bytes / triangles);
        std::fflush(stdout);
    }
}

} // namespace

} // namespace mh::bench

int main(int argc, char** argv) {
    using namespace mh::bench;
    std::string only;
    bool growth = false, brief = false;
    const Option options[] = {
        {"--runs", "Passes over the rays, of which the median counts", &runs},
        {"--side", "Width and height of the grid of primary rays", &side},
        {"--only", "Scenes with this in their name alone", &only},
        {"--growth", "Terrains of growing size in place of the scenes", &growth},
        {"--brief", "One short pass over two scenes, as a test", &brief},
    };
    if (const auto status = ReadOptions(argc, argv, options)) return *status;
    mh::SelectWalks();
    processors = UsableProcessors();
    pin_thread(processors[0]);
    if (growth) return run_growth(), 0;
    std::printf(
        "Millions of rays per second of processor time, on one thread and on two; %s kernel, "
        "%d runs\n  %-8s %8s %8s %6s\n",
        mh::WalkName(), runs, "rays", "moonhare", "Embree", "ratio");
    if (brief) {
        runs = 1;
        side = 32;
        run_scene(Room());
        run_scene(Instances());
        return 0;
    }
    for (Scene (*make)() : {Room, BumpySphere, +[] { return Terrain(); }, Strands, Instances}) {
        const Scene scene = make();
        if (scene.name.find(only) != std::string::npos) run_scene(scene);
    }
    return 0;
}
