// Whole frames of the room example: their rate on one and two threads, the error of gathering and
// of path tracing after equal time, photons, the tree of caustic photons, and checkpoints.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "integrate/caustics.h"
#include "integrate/frame_sums.h"
#include "integrate/pixel_loop.h"
#include "integrate/renderer.h"
#include "integrate/state.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/random.h"
#include "options.h"
#include "output/state.h"
#include "pictures.h"
#include "pieces/checkpoint.h"
#include "run/state.h"
#include "turns.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include <omp.h>
#include <unistd.h>

namespace mh::bench {

namespace {

bool brief = false;

void open_room(bool path_tracing, int size, int frames) {
    OpenScene(MOONHARE_EXAMPLES "/cornell/");
    Camera& camera = Cameras[0];
    camera.width = camera.height = size;
    camera.sample = frames;
    write_nothing();
    GeometryLight.aov_list.clear();
    if (brief) GeometryLight.photons = 100'000, RendererSettings.seed = 1;
    if (!path_tracing) return;
    RendererSettings.distance = 0.0f;
    RendererSettings.sample = frames; // one gather ray a frame, whatever their number
    RendererSettings.bounce = 8;
    RendererSettings.ray_depth = 12;
}

void render_frames(int frames) {
    for (int i = 0; i < frames; ++i)
        RenderPixels(static_cast<std::uint32_t>(i));
}

Picture render_room(bool path_tracing, int size, int frames) {
    open_room(path_tracing, size, frames);
    Picture picture;
    const double start = seconds(CLOCK_MONOTONIC);
    Initialize();
    render_frames(frames);
    picture.seconds = seconds(CLOCK_MONOTONIC) - start;
    picture.pixels = pixels_of(Cameras[0].aovs[0].image);
    CloseScene();
    return picture;
}

void bench_frames(bool path_tracing) {
    const int size = brief ? 16 : 256, runs = brief ? 1 : 5;
    open_room(path_tracing, size, runs);
    Initialize();
    double single = 0.0;
    for (const int threads : {1, 2}) {
        omp_set_num_threads(threads);
        RayStatistics = {};
        const double time = MedianSeconds({{"frame", [](int) { render_frames(1); }}}, runs)[0];
        if (threads == 1) single = time;
        std::printf(
            "  %-12s %d thread(s): %7.3f s a frame, %6.2f M rays/s, %.2f times one thread\n",
            path_tracing ? "path tracing" : "gathering", threads, time,
            1e-6 * static_cast<double>(RayStatistics.render_rays) / (time * runs), single / time);
    }
    CloseScene();
}

// Both modes against a converged picture; path tracing gets the time that gathering took.
bool bench_errors() {
    const int size = brief ? 16 : 192, many = brief ? 64 : 512, few = 16;
    const Picture truth = render_room(true, size, many);
    const Picture gathered = render_room(false, size, few);
    const double frame_seconds = truth.seconds / many;
    const int affordable = std::max(1, static_cast<int>(gathered.seconds / frame_seconds));
    const Picture traced = render_room(true, size, std::min(affordable, many));
    std::printf("errors against path tracing of %d frames\n", many);
    std::printf("  gathering    %6.2f s, error %.5f\n", gathered.seconds,
                relative_error(gathered, truth));
    std::printf("  path tracing %6.2f s, error %.5f\n", traced.seconds,
                relative_error(traced, truth));
    const double ratio = mean_of(gathered) / mean_of(truth);
    std::printf("  mean of gathering over path tracing: %.4f\n", ratio);
    return std::fabs(ratio - 1.0) < (brief ? 0.2 : 0.03);
}

void bench_photons() {
    open_room(false, 16, 1);
    GeometryLight.photons = brief ? 1000 : 1000000;
    Initialize();
    const std::int32_t photons = GeometryLight.photons;
    double single = 0.0;
    for (const int threads : {1, 2}) {
        omp_set_num_threads(threads);
        const double time = MedianSeconds({{"photons", [](int) { InitializeRenderer(); }}}, 1)[0];
        if (threads == 1) single = time;
        std::printf("  %d photons, %d thread(s): %.3f s, %.2f times one thread\n", photons, threads,
                    time, single / time);
    }
    Photons.resize(to_size(photons));
    for (CausticPhoton& photon : Photons) {
        photon.position.x = random_unit();
        photon.position.y = random_unit();
        photon.position.z = random_unit();
    }
    RendererSettings.radius = 0.01f;
    for (const int threads : {1, 2}) {
        omp_set_num_threads(threads);
        std::printf("  tree of %d caustic photons, %d thread(s): %.3f s\n", photons, threads,
                    MedianSeconds({{"tree", [](int) { BuildPhotonTree(); }}}, 1)[0]);
    }
    CloseScene();
}

// That this thread was ready to run, and no core was free.
double seconds_in_queue() {
    std::ifstream file("/proc/thread-self/schedstat");
    double running = 0.0, waiting = 0.0; // ns
    file >> running >> waiting;
    return 1e-9 * waiting;
}

// The room's three images in full HD after a frame, as they are, and as the sums that a seed keeps.
void bench_checkpoint(bool seeded) {
    open_room(true, 16, 1);
    Camera& camera = Cameras[0];
    camera.width = brief ? 32 : 1920, camera.height = brief ? 18 : 1080;
    RendererSettings.seed = seeded ? 1 : -1;
    RendererSettings.bounce = 1;
    Initialize();
    StartFrameSums();
    render_frames(1);
    if (seeded) AddFrameToSums();
    const std::string path =
        (std::filesystem::temp_directory_path() / ("frame_bench_" + std::to_string(getpid())))
            .string();
    std::vector<double> waits, times;
    const auto write = [&](int) {
        const double before = seconds_in_queue();
        if (!WriteCheckpoint(path, 0).empty()) std::exit(1);
        waits.push_back(seconds_in_queue() - before);
    };
    for (const Clock clock : {Clock::wall, Clock::process})
        times.push_back(MedianSeconds({{"write", write, nullptr, 1, clock}}, brief ? 1 : 7)[0]);
    std::printf("  %s, %.1f MB: %.3f s, of which a core was busy elsewhere %.3f s; %.3f s of "
                "processor time\n",
                seeded ? "sums" : "means",
                1e-6 * static_cast<double>(std::filesystem::file_size(path)), times[0],
                median(waits), times[1]);
    std::filesystem::remove(path);
    CloseScene();
}

} // namespace

} // namespace mh::bench

int main(int argc, char** argv) {
    using namespace mh::bench;
    const Option options[] = {{"--brief", "Few small frames, as a test", &brief}};
    if (const auto status = ReadOptions(argc, argv, options)) return *status;
    std::streambuf* const console = std::cout.rdbuf(nullptr);
    std::printf("frames of the room\n");
    bench_frames(false);
    bench_frames(true);
    const bool agree = bench_errors();
    std::printf("photons\n");
    bench_photons();
    std::printf("checkpoints\n");
    bench_checkpoint(false);
    bench_checkpoint(true);
    std::cout.rdbuf(console);
    if (!agree) std::printf("the modes disagree\n");
    return agree ? 0 : 1;
}
