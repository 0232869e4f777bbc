// Seconds of what comes before the rays, and the walks of curved hair: reading, smoothing and
// construction, beside Embree when it is there. Medians of a few runs.
// SPDX-License-Identifier: MIT
#include "accel/tree.h"
#include "accel/walk.h"
#include "geometry/finalise.h"
#include "geometry/hair_reader.h"
#include "geometry/obj_reader.h"
#include "geometry/objects.h"
#include "geometry/smoothing.h"
#include "math/constants.h"
#include "math/roots.h"
#include "shading/types.h"
#include "timing.h"
#ifdef MOONHARE_EMBREE
#include "embree_side.h"
#endif

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

#include <omp.h>
#include <unistd.h>

namespace mh::bench {

namespace {

bool brief = false;
constexpr std::uint16_t kSegments = 10; // of a strand

int runs() {
    return brief ? 1 : 3;
}

// Median wall seconds of `work`, each run after a `prepare` that is not timed.
template<typename Prepare, typename Work>
double median_seconds(Prepare prepare, Work work) {
    std::vector<double> times;
    for (int run = 0; run < runs(); ++run) {
        prepare();
        const double start = seconds(CLOCK_MONOTONIC);
        work();
        times.push_back(seconds(CLOCK_MONOTONIC) - start);
    }
    return median(times);
}

std::string temporary_file(const char* ending) {
    return (std::filesystem::temp_directory_path()
            / ("geometry_bench_" + std::to_string(getpid()) + ending))
        .string();
}

// Curls of unit steps that grow outwards from a ball of radius 20.
void write_hair(const std::string& path, std::uint32_t strands) {
    std::mt19937 bits(7);
    const auto random = [&] {
        const auto symmetric = [&] { return static_cast<float>(bits() >> 8) * 0x1p-23f - 1.0f; };
        const float x = symmetric(), y = symmetric(), z = symmetric();
        return Vec3{x, y, z};
    };
    std::vector<Vec3> points;
    for (std::uint32_t strand = 0; strand < strands; ++strand) {
        Vec3 direction = normalize(random());
        points.push_back(20.0f * direction);
        for (int i = 0; i < kSegments; ++i) {
            direction = normalize(direction + 0.35f * random());
            points.push_back(points.back() + direction);
        }
    }
    std::uint32_t header[32] = {0x52494148u, strands, static_cast<std::uint32_t>(points.size()), 2u,
                                kSegments};
    const float thickness = 0.04f;
    std::memcpy(&header[5], &thickness, sizeof thickness);
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(header), sizeof header);
    file.write(reinterpret_cast<const char*>(points.data()),
               static_cast<std::streamsize>(points.size() * sizeof(Vec3)));
}

void write_obj(const std::string& path, const Mesh& mesh) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) std::exit(1);
    for (const Vec3& p : mesh.positions)
        std::fprintf(file, "v %.6f %.6f %.6f\n", static_cast<double>(p.x), static_cast<double>(p.y),
                     static_cast<double>(p.z));
    for (const auto& t : mesh.triangles)
        std::fprintf(file, "f %u %u %u\n", t[0] + 1, t[1] + 1, t[2] + 1);
    std::fclose(file);
}

Object& fresh_object() {
    Objects.clear();
    Objects.resize(1);
    RootObjectIndex = 0;
    AddPart(Objects[0]);
    return Objects[0];
}

void load_hair(const std::string& path) {
    Object& object = fresh_object();
    ReadHair(object.parts[0], path);
    FinalisePart(object.parts[0]);
    MakeTree(object);
}

#ifdef MOONHARE_EMBREE

// Ribbons are defined in another way, so that only the shares of hits must agree.
constexpr double kMayDiffer = 0.03;

template<typename Ours, typename Theirs>
void compare(const char* kind, const std::vector<BenchRay>& rays, Ours ours, Theirs theirs,
             bool (*is_hit)(float)) {
    const auto share = [&](auto query) {
        return static_cast<double>(std::count_if(
                   rays.begin(), rays.end(),
                   [&](const BenchRay& r) { return is_hit(static_cast<float>(query(r))); }))
               / static_cast<double>(rays.size());
    };
    const double hits = share(ours), others = share(theirs);
    if (!(std::fabs(hits - others) <= kMayDiffer)) {
        std::printf("%s: shares of hits %.4f and %.4f\n", kind, hits, others);
        std::exit(1);
    }
    std::vector<double> a, b;
    for (int run = 0; run < runs(); ++run) {
        a.push_back(pass_seconds(rays, ours));
        b.push_back(pass_seconds(rays, theirs));
    }
    const double millions = 1e-6 * static_cast<double>(rays.size());
    std::printf("  %-8s %.2f M/s, Embree %.2f M/s, ratio %.2f, hits %.4f and %.4f\n", kind,
                millions / median(a), millions / median(b), median(b) / median(a), hits, others);
}

void time_hair_rays() {
    const Scene camera = {"hair", {}, {}, {0, 10, 60}, {0, 0, 0}, {40, 80, 60}, 0.05f};
    const RaySets rays = MakeRays(camera, brief ? 128 : 256);
    EmbreeScene other = MakeEmbreeHair(Objects[0].parts[0]);
    const auto theirs = [&](const BenchRay& r) { return embree_closest(other, r); };
    const auto near = [](float distance) { return distance < kFar; };
    compare("primary", rays.primary, our_closest, theirs, near);
    compare("bounce", rays.bounce, our_closest, theirs, near);
    compare(
        "shadow", rays.shadow, our_occluded,
        [&](const BenchRay& r) { return embree_occluded(other, r); },
        [](float occluded) { return occluded != 0.0f; });
    FreeEmbreeScene(other);
}

#endif

void bench_hair() {
    const std::string path = temporary_file(".hair");
    const std::uint32_t strands = brief ? 2000 : 50'000;
    write_hair(path, 2 * strands);
    const double time = median_seconds([] {}, [&] { load_hair(path); });
    std::printf("hair: %zu segments read, finished and built in %.3f s\n",
                Objects[0].parts[0].cylinders.size(), time);
    write_hair(path, strands);
    load_hair(path);
    std::filesystem::remove(path);
#ifdef MOONHARE_EMBREE
    time_hair_rays();
#endif
}

void bench_construction(const Scene& terrain) {
    const double millions = 1e-6 * static_cast<double>(terrain.mesh.triangles.size());
    for (const int threads : {1, 2}) {
        omp_set_num_threads(threads);
        const double ours =
            median_seconds([&] { LoadScene(terrain); }, [&] { MakeTree(Objects[0]); });
        std::printf("construction, %d thread(s): %.2f M triangles/s", threads, millions / ours);
#ifdef MOONHARE_EMBREE
        std::vector<double> times;
        for (int run = 0; run < runs(); ++run) {
            EmbreeScene other = MakeEmbreeMesh(terrain, threads);
            times.push_back(other.build_seconds);
            FreeEmbreeScene(other);
        }
        std::printf(", Embree medium %.2f", millions / median(times));
#endif
        std::printf("\n");
    }
}

void bench_surfaces(const Scene& terrain) {
    const std::string path = temporary_file(".obj");
    write_obj(path, terrain.mesh);
    omp_set_num_threads(1);
    MeshLoader loader;
    const double reading = median_seconds([&] { loader = {}; }, [&] { ReadObj(loader, path); });
    std::printf("OBJ: %.1f MB/s on one thread\n",
                1e-6 * static_cast<double>(std::filesystem::file_size(path)) / reading);
    std::filesystem::remove(path);
    Part mesh = fresh_object().parts[0];
    AssembleMesh(loader, mesh);
    Shaders[0].smooth_angle = 60.0f;
    for (const int threads : {1, 2}) {
        omp_set_num_threads(threads);
        Part part;
        const double time = median_seconds([&] { part = mesh; }, [&] { Smooth(part); });
        std::printf("smoothing: %zu triangles in %.3f s on %d thread(s)\n", part.triangles.size(),
                    time, threads);
    }
}

} // namespace

} // namespace mh::bench

int main(int argc, char** argv) {
    using namespace mh::bench;
    brief = argc > 1 && std::strcmp(argv[1], "--brief") == 0;
    if (argc > 1 && !brief) return std::printf("usage: geometry_bench [--brief]\n"), 1;
    mh::SelectWalks();
    mh::Shaders.resize(1);
    std::streambuf* const console = std::cout.rdbuf(nullptr);
    bench_hair();
    const Scene terrain = Terrain(brief ? 64 : 707);
    bench_construction(terrain);
    bench_surfaces(terrain);
    std::cout.rdbuf(console);
    std::printf("smallest share of the processor in a pass of rays: %.2f\n", busy_share);
    return 0;
}
