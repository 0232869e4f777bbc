// Seconds of what comes before the rays, and the walks of curved hair: reading, smoothing,
// displacement and construction, beside Embree when it is there. Medians of a few runs.
// SPDX-License-Identifier: MIT
#include "accel/state.h"
#include "accel/tree.h"
#include "accel/walk.h"
#include "geometry/displacement.h"
#include "geometry/finalise.h"
#include "geometry/hair_reader.h"
#include "geometry/obj_reader.h"
#include "geometry/objects.h"
#include "geometry/smoothing.h"
#include "geometry/state.h"
#include "math/at.h"
#include "math/constants.h"
#include "math/roots.h"
#include "options.h"
#include "shading/images.h"
#include "shading/state.h"
#include "turns.h"
#ifdef MOONHARE_EMBREE
#include "embree_side.h"
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

#include <malloc.h>
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
double median_seconds(std::function<void()> prepare, const std::function<void()>& work) {
    return MedianSeconds({{"task", [=](int) { work(); }, std::move(prepare)}}, runs())[0];
}

// A field of /proc/self/status that is given in kB.
double memory_megabytes(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(field)) return std::stod(line.substr(field.size() + 1)) / 1024.0;
    return 0.0;
}

// Lets VmHWM start again from the memory of now, which is returned.
double restart_peak_memory() {
    std::ofstream("/proc/self/clear_refs") << 5;
    return memory_megabytes("VmRSS");
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
    Trees = std::vector<Tree>(1);
    RootObjectIndex = 0;
    AddPart(Objects[0]);
    return Objects[0];
}

void load_hair(const std::string& path) {
    Object& object = fresh_object();
    ReadHair(object.parts[0], path);
    FinalisePart(object.parts[0]);
    MakeTree(0);
}

#ifdef MOONHARE_EMBREE

// Ribbons are defined in another way, so that only the shares of hits must agree.
constexpr double kMayDiffer = 0.02;

using IsHit = bool (*)(float);

template<typename Query>
double share_of_hits(const std::vector<BenchRay>& rays, Query query, IsHit is_hit) {
    const auto hits = std::count_if(rays.begin(), rays.end(), [&](const BenchRay& ray) {
        return is_hit(static_cast<float>(query(ray)));
    });
    return static_cast<double>(hits) / static_cast<double>(rays.size());
}

// Passes by turns of ours and all others; prints the fastest of them.
template<typename Ours, typename Theirs>
void time_rays(const char* kind, const std::vector<BenchRay>& rays,
               const std::vector<EmbreeScene>& others, Ours ours, Theirs theirs) {
    std::vector<Task> tasks = {pass_of("moonhare", rays, ours)};
    for (const EmbreeScene& other : others)
        tasks.push_back(pass_of(other.name, rays, [&other, theirs](const BenchRay& ray) {
            return theirs(other, ray);
        }));
    const std::vector<double> times = MedianSeconds(tasks, runs());
    const auto best = std::min_element(times.begin() + 1, times.end());
    const double millions = 1e-6 * static_cast<double>(rays.size());
    std::printf("  %-8s %.2f M/s, Embree %.2f M/s, ratio %.2f (%s)\n", kind, millions / times[0],
                millions / *best, *best / times[0],
                others[to_size(best - times.begin()) - 1].name.c_str());
}

template<typename Ours, typename Theirs>
void compare(const char* kind, const std::vector<BenchRay>& rays,
             const std::vector<EmbreeScene>& others, Ours ours, Theirs theirs, IsHit is_hit) {
    const double hits = share_of_hits(rays, ours, is_hit);
    const double of_others = share_of_hits(
        rays, [&](const BenchRay& ray) { return theirs(others[0], ray); }, is_hit);
    std::printf("  %-8s shares of hits %.4f, %s %.4f\n", kind, hits, others[0].name.c_str(),
                of_others);
    if (!(std::fabs(hits - of_others) <= kMayDiffer)) std::exit(1);
    time_rays(kind, rays, others, ours, theirs);
}

void time_hair_rays() {
    const Scene camera = {"hair", {}, {}, {0, 10, 60}, {0, 0, 0}, {40, 80, 60}, 0.05f};
    const RaySets rays = MakeRays(camera, brief ? 128 : 256);
    for (const bool round : {false, true}) {
        std::vector<EmbreeScene> others = MakeEmbreeHair(Objects[0].parts[0], round);
        const auto near = [](float distance) { return distance < kFar; };
        compare("primary", rays.primary, others, our_closest, embree_closest, near);
        compare("bounce", rays.bounce, others, our_closest, embree_closest, near);
        compare("shadow", rays.shadow, others, our_occluded, embree_occluded,
                [](float occluded) { return occluded != 0.0f; });
        for (EmbreeScene& other : others)
            FreeEmbreeScene(other);
    }
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

template<typename Vector>
double bytes_in(const Vector& values) {
    return static_cast<double>(values.capacity() * sizeof values[0]);
}

double bytes_of(const Tree& tree) {
    return bytes_in(tree.nodes) + bytes_in(tree.references) + bytes_in(tree.occlusion_log)
           + bytes_in(tree.walk);
}

// Bytes a triangle beside the mesh: what the trees keep, and the peak of their construction.
void report_tree_memory(const Scene& terrain) {
    const double triangles = static_cast<double>(terrain.mesh.triangles.size());
    omp_set_num_threads(1);
    LoadScene(terrain);
    Tree& tree = Trees[0];
    tree = {};
    malloc_trim(0);
    const double before = restart_peak_memory();
    MakeTree(0);
    const double peak = 1048576.0 * (memory_megabytes("VmHWM") - before);
    std::printf("tree of a terrain, bytes a triangle: %.1f of which rays read %.1f, peak %.1f\n",
                bytes_of(tree) / triangles, bytes_in(tree.walk) / triangles, peak / triangles);
#ifdef MOONHARE_EMBREE
    EmbreeScene other = MakeEmbreeMesh(terrain, 1);
    const auto of_tree = [&](std::int64_t bytes) {
        return static_cast<double>(bytes - other.mesh_bytes) / triangles;
    };
    std::printf("Embree medium: %.1f, peak %.1f, its copy of the mesh %.1f\n",
                of_tree(other.memory->bytes), of_tree(other.memory->peak_bytes),
                static_cast<double>(other.mesh_bytes) / triangles);
    FreeEmbreeScene(other);
#endif
}

// Of builds by turns: the median rate by the clock, and by the processor time of all threads.
struct BuildTimes {
    std::vector<double> wall, processor;
};

void print_rates(const char* name, const Scene& scene, const BuildTimes& times) {
    const double millions = 1e-6 * static_cast<double>(scene.mesh.triangles.size());
    std::printf("  %-15s %.2f M triangles/s, %.2f of processor time\n", name,
                millions / median(times.wall), millions / median(times.processor));
}

void build_ours(const Scene& scene, BuildTimes& times) {
    LoadScene(scene);
    const double wall = seconds(CLOCK_MONOTONIC), cpu = seconds(CLOCK_PROCESS_CPUTIME_ID);
    MakeTree(0);
    times.wall.push_back(seconds(CLOCK_MONOTONIC) - wall);
    times.processor.push_back(seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu);
}

#ifdef MOONHARE_EMBREE

void build_embree(const Scene& scene, int threads, BuildTimes& times) {
    EmbreeScene other = MakeEmbreeMesh(scene, threads);
    times.wall.push_back(other.build_seconds);
    times.processor.push_back(other.build_processor_seconds);
    FreeEmbreeScene(other);
}

// Each build against the one that followed it, and the fastest of both: other work on the machine
// only slows.
void print_ratios(const std::vector<double>& ours, const std::vector<double>& theirs) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size(); ++i)
        ratios.push_back(theirs[i] / ours[i]);
    const auto [least, most] = std::ranges::minmax(ratios);
    std::printf("  ratio of processor time %.2f (%.2f to %.2f), of the fastest builds %.2f\n",
                median(ratios), least, most, std::ranges::min(theirs) / std::ranges::min(ours));
}

#endif

void bench_construction(const Scene& terrain) {
    for (const int threads : {1, 2}) {
        omp_set_num_threads(threads);
        BuildTimes ours, theirs;
        for (int run = 0; run < (brief ? 1 : 7); ++run) {
            build_ours(terrain, ours);
#ifdef MOONHARE_EMBREE
            build_embree(terrain, threads, theirs);
#endif
        }
        std::printf("construction, %d thread(s), by turns:\n", threads);
        print_rates("moonhare", terrain, ours);
#ifdef MOONHARE_EMBREE
        print_rates("Embree medium", terrain, theirs);
        print_ratios(ours.processor, theirs.processor);
#endif
    }
}

// Seconds, and the memory that the peak of the work takes beside the mesh it starts from.
template<typename Work>
void time_on_mesh(const char* name, const Part& mesh, Work work) {
    for (const int threads : {1, 2}) {
        omp_set_num_threads(threads);
        Part part;
        double before = 0.0;
        const double time = median_seconds(
            [&] {
                part = {};
                malloc_trim(0);
                part = mesh;
                before = restart_peak_memory();
            },
            [&] { work(part); });
        std::printf(
            "%s: %zu triangles to %zu in %.3f s on %d thread(s), peak %.0f MB, kept %.0f MB\n",
            name, mesh.triangles.size(), part.triangles.size(), time, threads,
            memory_megabytes("VmHWM") - before, memory_megabytes("VmRSS") - before);
    }
}

void bench_reading_and_smoothing(const Scene& terrain) {
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
    time_on_mesh("smoothing", mesh, Smooth);
}

// A terrain whose faces are each cut into 256 and moved by an image.
void bench_displacement() {
    const int image = FindOrAddImage("bumps");
    AllocateImage(at(Textures, image), 256, 256, 3, 32, false);
    for (int i = 0; i < 256 * 256; ++i)
        set_texel(at(Textures, image), i,
                  splat(0.002f * std::sin(0.3f * static_cast<float>(i % 256))));
    ShaderElement& layer = Shaders[0].displacement.vectors.emplace_back();
    layer.level = 16;
    layer.image_index = image;
    LoadScene(Terrain(brief ? 8 : 45));
    time_on_mesh("displacement with smoothing", Objects[0].parts[0], [](Part& part) {
        Displace(part);
        Smooth(part); // as the set-up of objects does
    });
}

} // namespace

} // namespace mh::bench

int main(int argc, char** argv) {
    using namespace mh::bench;
    bool construction = false;
    const Option options[] = {
        {"--brief", "Small meshes, as a test", &brief},
        {"--construction", "The construction of trees alone", &construction},
    };
    if (const auto status = ReadOptions(argc, argv, options)) return *status;
    mh::SelectWalks();
    mh::Shaders.resize(1);
    std::streambuf* const console = std::cout.rdbuf(nullptr);
    const Scene terrain = Terrain(brief ? 64 : 707);
    bench_construction(terrain);
    if (construction) return 0;
    bench_hair();
    report_tree_memory(terrain);
    bench_reading_and_smoothing(terrain);
    bench_displacement();
    std::cout.rdbuf(console);
    return 0;
}
