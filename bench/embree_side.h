// The same scenes and rays through Embree's single-ray calls.
// SPDX-License-Identifier: MIT
#pragma once

#include "rays.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace mh::bench {

// What a device has allocated.
struct EmbreeMemory {
    std::atomic<std::int64_t> bytes = 0, peak_bytes = 0;
};

// One way to build and walk the scene. Copies share nothing; made once per scene.
struct EmbreeScene {
    std::string name; // quality and instruction set
    void* device = nullptr;
    void* top = nullptr;
    void* base = nullptr; // the mesh inside the instances; null without
    double build_seconds = 0.0, build_processor_seconds = 0.0; // the latter of all threads
    std::shared_ptr<EmbreeMemory> memory;                      // of the device
    std::int64_t mesh_bytes = 0; // the part of it that the mesh's own arrays take
};

// Medium and high quality, each with AVX2 and with AVX-512 kernels where the machine has them.
std::vector<EmbreeScene> MakeEmbreeScenes(const Scene& scene);
// Medium quality on some threads, as the fastest instruction set has it.
EmbreeScene MakeEmbreeMesh(const Scene& scene, int threads);
// Medium quality in the mode that lets no ray through between neighbours.
EmbreeScene MakeRobustEmbreeScene(const Scene& scene);
// The hair of a finished part, in as many ways: flat Bezier curves cut into eight pieces, or those
// pieces as round linear curves.
std::vector<EmbreeScene> MakeEmbreeHair(const Part& part, bool round);
void FreeEmbreeScene(EmbreeScene& scene);

// Distance of the hit, kFar for a miss.
float embree_closest(const EmbreeScene& scene, const BenchRay& ray);
bool embree_occluded(const EmbreeScene& scene, const BenchRay& ray);

} // namespace mh::bench
