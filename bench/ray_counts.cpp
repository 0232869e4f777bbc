// One pass of each kind of ray over the scenes of ray_bench. Under callgrind with our walks and
// Embree's: each loop ends with a dump named "scene|rays|side|count". Without it with our walks
// alone, printing "scene|rays|hash of all hits" for each loop. bench/instructions.py reads both.
// SPDX-License-Identifier: MIT
#include "accel/walk.h"
#include "math/digest.h"
#include "options.h"
#include "rays.h"
#include "turns.h"
#ifdef MOONHARE_EMBREE
#include "embree_side.h"
#endif

#include <array>
#include <cstdio>
#include <iostream>

#include <valgrind/callgrind.h>

namespace mh::bench {

namespace {

struct Side {
    std::string scene, name;
};

// The simulated caches are empty at the start of every loop.
template<typename Query>
void count_rays(const Side& side, const char* kind, const std::vector<BenchRay>& rays,
                const Query& query) {
    const std::string label =
        side.scene + "|" + kind + "|" + side.name + "|" + std::to_string(rays.size());
    float total = 0.0f;
    CALLGRIND_START_INSTRUMENTATION;
    for (const BenchRay& ray : rays)
        total += static_cast<float>(query(ray));
    CALLGRIND_STOP_INSTRUMENTATION;
    CALLGRIND_DUMP_STATS_AT(label.c_str());
    benchmark::DoNotOptimize(total);
}

template<typename Closest, typename Occluded>
void count_side(const Side& side, const RaySets& rays, const Closest& closest,
                const Occluded& occluded) {
    count_rays(side, "primary", rays.primary, closest);
    count_rays(side, "bounce", rays.bounce, closest);
    count_rays(side, "shadow", rays.shadow, occluded);
}

void count_scene(const Scene& scene, int size) {
    LoadScene(scene);
    const RaySets rays = MakeRays(scene, size);
    count_side({scene.name, std::string("moonhare ") + WalkName()}, rays, our_closest,
               our_occluded);
#ifdef MOONHARE_EMBREE
    for (EmbreeScene& other : MakeEmbreeScenes(scene)) {
        count_side(
            {scene.name, "Embree " + other.name}, rays,
            [&](const BenchRay& ray) { return embree_closest(other, ray); },
            [&](const BenchRay& ray) { return embree_occluded(other, ray); });
        FreeEmbreeScene(other);
    }
#endif
}

template<typename Numbers>
void add_bytes(Digest& digest, const Numbers& numbers) {
    add(digest, {reinterpret_cast<const char*>(numbers.data()), sizeof numbers});
}

// All that a walk writes of a hit.
template<typename Query>
void hash_rays(const Scene& scene, const char* kind, const std::vector<BenchRay>& rays,
               const Query& query) {
    Digest digest;
    for (const BenchRay& ray : rays) {
        const Ray hit = query(ray);
        const std::array numbers = {hit.distance, hit.hit_a, hit.hit_b, hit.hit_c, hit.weight.x};
        const std::array<std::int32_t, 5> names = {hit.hit_primitive, hit.hit_shader,
                                                   static_cast<std::int32_t>(hit.hit_kind),
                                                   hit.front_side, hit.hit_instance_level};
        add_bytes(digest, numbers);
        add_bytes(digest, names);
    }
    std::printf("%s|%s|%016llx\n", scene.name.c_str(), kind,
                static_cast<unsigned long long>(digest.value));
}

void hash_scene(const Scene& scene, int size) {
    LoadScene(scene);
    const RaySets rays = MakeRays(scene, size);
    hash_rays(scene, "primary", rays.primary, trace);
    hash_rays(scene, "bounce", rays.bounce, trace);
    hash_rays(scene, "shadow", rays.shadow, trace_shadow);
}

} // namespace

} // namespace mh::bench

int main(int argc, char** argv) {
    using namespace mh::bench;
    int size = 64;
    const Option options[] = {{"SIZE", "Width and height of the grid of primary rays", &size}};
    if (const auto status = ReadOptions(argc, argv, options)) return *status;
    mh::SelectWalks();
    std::cout.rdbuf(nullptr);
    for (Scene (*make)() : {Room, BumpySphere, +[] { return Terrain(); }, Strands, Instances})
        (RUNNING_ON_VALGRIND != 0 ? count_scene : hash_scene)(make(), size);
    return 0;
}
