// What a user waits for: the library's start, a large scene file, texture look-ups, and whole
// pictures of scene directories, whose error is taken against the same scene at many more frames.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "integrate/pixel_loop.h"
#include "lights/state.h"
#include "math/random.h"
#include "output/state.h"
#include "pictures.h"
#include "run/state.h"
#include "shading/images.h"
#include "timing.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <utility>

#include <unistd.h>

namespace mh::bench {

namespace {

struct Options {
    bool brief = false;
    int frames = 64, reference = 4096, runs = 5;
    std::vector<std::string> scenes;
};

Options options;

template<typename Step>
double median_seconds(const Step& step) {
    std::vector<double> times;
    for (int i = 0; i < options.runs; ++i) {
        const double start = seconds(CLOCK_MONOTONIC);
        step();
        times.push_back(seconds(CLOCK_MONOTONIC) - start);
    }
    return median(times);
}

// The first start of the process, which fills the tables that later ones find.
void bench_startup() {
    const double start = seconds(CLOCK_MONOTONIC);
    Startup();
    std::printf("  start of the library %.2f ms\n", 1e3 * (seconds(CLOCK_MONOTONIC) - start));
    Shutdown();
}

// A scene of nothing but lights, in one file of the given size.
void write_lights(const std::filesystem::path& scene, std::size_t bytes) {
    std::filesystem::create_directories(scene / "light");
    std::ofstream file(scene / "light" / "all.mh");
    while (static_cast<std::size_t>(file.tellp()) < bytes)
        file << "point_light\n\tcolor 0.7 0.6 0.5\n\tposition 1 2.5 -3\nend\n";
}

void bench_scene_file() {
    const double megabytes = options.brief ? 0.1 : 10.0;
    const std::filesystem::path scene =
        std::filesystem::temp_directory_path() / ("picture_bench." + std::to_string(getpid()));
    write_lights(scene, static_cast<std::size_t>(1e6 * megabytes));
    std::printf("  scene file of %.1f MB %.3f s\n", megabytes, median_seconds([&] {
                    OpenScene(scene.string() + "/");
                    CloseScene();
                }));
    std::filesystem::remove_all(scene);
}

// Bilinear look-ups at random places of an image that the cache holds, of bytes in `channels`.
void bench_look_ups(int channels, float tiles) {
    constexpr int kSide = 128, kPlaces = 4096;
    Image image;
    AllocateImage(image, kSide, kSide, channels, 8, false);
    for (std::int64_t i = 0; i < std::int64_t{kSide} * kSide; ++i)
        set_texel(image, i, {random_unit(), random_unit(), random_unit()});
    std::vector<Vec2> places(kPlaces);
    for (Vec2& place : places)
        place = {tiles * random_unit(), tiles * random_unit()};
    const ShaderElement element;
    const int passes = options.brief ? 1 : 200;
    double best = kFar;
    for (int pass = 0; pass < passes; ++pass) {
        const double start = seconds(CLOCK_THREAD_CPUTIME_ID);
        for (const Vec2& place : places)
            keep(sample_texture(image, place, element).x);
        best = std::min(best, seconds(CLOCK_THREAD_CPUTIME_ID) - start);
    }
    std::printf("  bilinear look-up, %d channel(s), %s: %.2f ns\n", channels,
                tiles > 1.0f ? "repeated" : "once", 1e9 * best / kPlaces);
}

// One sample of each kind a frame, whatever the number of frames: from reading the scene to its end.
Picture render(const std::string& scene, Estimator estimator, std::int64_t seed, int frames) {
    Picture picture;
    const double start = seconds(CLOCK_MONOTONIC);
    OpenScene(scene + "/");
    write_nothing();
    GeometryLight.aov_list.clear();
    Cameras[0].sample = RendererSettings.sample = frames;
    RendererSettings.estimator = estimator;
    RendererSettings.seed = seed;
    if (options.brief) Cameras[0].width = Cameras[0].height = 16;
    if (SkyLight.sample > 0) SkyLight.sample = frames;
    if (GeometryLight.sample > 0) GeometryLight.sample = frames;
    Initialize();
    for (int i = 0; i < frames; ++i)
        RenderPixels(static_cast<std::uint32_t>(i));
    picture.seconds = seconds(CLOCK_MONOTONIC) - start;
    picture.pixels = beauty_pixels();
    CloseScene();
    return picture;
}

// Both estimators, each against its own picture of many frames.
void bench_picture(const std::string& scene) {
    for (const auto& [estimator, name] :
         {std::pair(Estimator::classic, "classic"), std::pair(Estimator::exact, "exact")}) {
        const Picture truth = render(scene, estimator, 0, options.reference);
        std::vector<double> errors;
        std::int64_t seed = 0;
        const double time = median_seconds([&] {
            const Picture picture = render(scene, estimator, ++seed, options.frames);
            errors.push_back(relative_error(picture, truth));
        });
        const double error = median(errors);
        std::printf("  %s, %s, %d frames: %.2f s, error %.5f, product %.5f\n", scene.c_str(), name,
                    options.frames, time, error, time * error);
    }
}

bool read_options(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const char* text = argv[i];
        if (std::strcmp(text, "--brief") == 0)
            options = {true, 4, 16, 1, {MOONHARE_EXAMPLES "/cornell"}};
        else if (std::strncmp(text, "--frames=", 9) == 0)
            options.frames = std::atoi(text + 9);
        else if (std::strncmp(text, "--reference=", 12) == 0)
            options.reference = std::atoi(text + 12);
        else if (text[0] != '-')
            options.scenes.emplace_back(text);
        else
            return false;
    }
    return options.frames > 0 && options.reference > 0;
}

} // namespace

} // namespace mh::bench

int main(int argc, char** argv) {
    using namespace mh::bench;
    if (!read_options(argc, argv))
        return std::printf(
                   "usage: picture_bench [--brief] [--frames=N] [--reference=N] [SCENE...]\n"),
               1;
    std::streambuf* const console = std::cout.rdbuf(nullptr);
    bench_startup();
    bench_scene_file();
    for (const int channels : {1, 3, 4})
        for (const float tiles : {1.0f, 4.0f})
            bench_look_ups(channels, tiles);
    for (const std::string& scene : options.scenes)
        bench_picture(scene);
    std::cout.rdbuf(console);
    return 0;
}
