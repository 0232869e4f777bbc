// What a user waits for: the library's start, a large scene file, texture look-ups, and whole
// pictures of scene directories, whose error is taken against the same scene at many more frames.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "integrate/pixel_loop.h"
#include "lamp_room.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/random.h"
#include "options.h"
#include "output/aov.h"
#include "output/state.h"
#include "pictures.h"
#include "run/state.h"
#include "shading/images.h"
#include "turns.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include <unistd.h>

namespace mh::bench {

namespace {

// A scene directory, and how it is rendered.
struct Subject {
    std::string scene;
    int photons = 0; // of its lamps: final gathering; 0: as the scene says
};

struct Options {
    bool brief = false, slope = false;
    int frames = 64, reference = 4096, runs = 5, size = 0;
    std::vector<Subject> subjects;
};

Options options;

double median_seconds(const std::function<void()>& step) {
    return MedianSeconds({{"step", [&](int) { step(); }}}, options.runs)[0];
}

// The first start of the process, which fills the tables that later ones find.
void bench_startup() {
    const double start = seconds(CLOCK_MONOTONIC);
    Startup();
    std::printf("  start of the library %.2f ms\n", 1e3 * (seconds(CLOCK_MONOTONIC) - start));
    Shutdown();
}

// Of what this process generates; removed at its end.
const std::filesystem::path& scratch() {
    static const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("picture_bench." + std::to_string(getpid()));
    return folder;
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
    const std::filesystem::path scene = scratch() / "lights";
    write_lights(scene, static_cast<std::size_t>(1e6 * megabytes));
    std::printf("  scene file of %.1f MB %.3f s\n", megabytes, median_seconds([&] {
                    OpenScene(scene.string() + "/");
                    CloseScene();
                }));
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
            benchmark::DoNotOptimize(sample_texture(image, place, element).x);
        best = std::min(best, seconds(CLOCK_THREAD_CPUTIME_ID) - start);
    }
    std::printf("  bilinear look-up, %d channel(s), %s: %.2f ns\n", channels,
                tiles > 1.0f ? "repeated" : "once", 1e9 * best / kPlaces);
}

// Cells and reach of the room example.
void gather(int photons) {
    RendererSettings.resolution = 0.0025f;
    RendererSettings.distance = 0.3f;
    GeometryLight.photons = photons;
}

// One sample of each kind a frame, whatever the number of frames.
void open(const Subject& subject, Estimator estimator, std::int64_t seed, int frames) {
    OpenScene(subject.scene + "/");
    write_nothing();
    if (subject.photons > 0) gather(subject.photons);
    GeometryLight.aov_list.clear();
    Cameras[0].sample = RendererSettings.sample = frames;
    RendererSettings.estimator = estimator;
    RendererSettings.seed = seed;
    if (options.brief) Cameras[0].width = Cameras[0].height = 16, GeometryLight.photons = 1000;
    if (options.size > 0) Cameras[0].width = Cameras[0].height = options.size;
    if (SkyLight.sample > 0) SkyLight.sample = frames;
    if (GeometryLight.sample > 0) GeometryLight.sample = frames;
}

void render_frames(int frames) {
    for (int i = 0; i < frames; ++i)
        RenderPixels(static_cast<std::uint32_t>(i));
}

// From reading the scene to its end, in seconds of all threads together, set-up apart from frames.
Picture render(const Subject& subject, Estimator estimator, std::int64_t seed, int frames) {
    Picture picture;
    const double start = seconds(CLOCK_PROCESS_CPUTIME_ID);
    open(subject, estimator, seed, frames);
    Initialize();
    const double ready = seconds(CLOCK_PROCESS_CPUTIME_ID);
    render_frames(frames);
    picture.setup = ready - start;
    picture.seconds = seconds(CLOCK_PROCESS_CPUTIME_ID) - ready;
    picture.pixels = pixels_of(Cameras[0].aovs[0].image);
    CloseScene();
    return picture;
}

// Of the runs of an estimator.
struct Measured {
    std::vector<double> setup, seconds, errors;
};

void measure(const Subject& subject, Estimator estimator, std::int64_t seed, const Picture& truth,
             Measured& runs) {
    const Picture picture = render(subject, estimator, seed, options.frames);
    runs.setup.push_back(picture.setup);
    runs.seconds.push_back(picture.seconds);
    runs.errors.push_back(relative_error(picture, truth));
}

void print(const Subject& subject, const char* name, const Measured& runs) {
    std::printf("  %s, %d photons, %s, %d frames: set-up %.2f s, frames %.2f s, error %.5f\n",
                std::filesystem::path(subject.scene).filename().c_str(), subject.photons, name,
                options.frames, median(runs.setup), median(runs.seconds), median(runs.errors));
}

// Both estimators by turns, each against its own picture of many frames. Classic as it comes,
// without a seed. The time ratio is the median of that of neighbouring runs.
void bench_picture(const Subject& subject) {
    constexpr std::int64_t kNoSeed = -1, kSeedOfTruth = 1000;
    const Picture classic_truth = render(subject, Estimator::classic, kNoSeed, options.reference);
    const Picture exact_truth = render(subject, Estimator::exact, kSeedOfTruth, options.reference);
    Measured classic, exact;
    std::vector<double> ratios;
    for (int run = 0; run < options.runs; ++run) {
        measure(subject, Estimator::classic, kNoSeed, classic_truth, classic);
        measure(subject, Estimator::exact, run, exact_truth, exact);
        ratios.push_back(exact.seconds.back() / classic.seconds.back());
    }
    print(subject, "classic", classic);
    print(subject, "exact", exact);
    std::printf("    a frame of exact costs %.2f of classic\n", median(ratios));
}

// An image of one more quantity of the first hits, among those of the camera.
int add_aov(Channel channel) {
    const int aov = AddAov(Cameras[0].aovs);
    at(Cameras[0].aovs, aov).channel = static_cast<std::uint32_t>(channel);
    return aov;
}

// Which pixels show the floor, at height 0, and nothing else in any frame.
std::vector<bool> floor_pixels(const Subject& subject) {
    constexpr int kFrames = 256;
    open(subject, Estimator::exact, 0, kFrames);
    const int normals = add_aov(Channel::normal), positions = add_aov(Channel::position);
    Initialize();
    render_frames(kFrames);
    const std::vector<Vec3> normal = pixels_of(at(Cameras[0].aovs, normals).image);
    const std::vector<Vec3> position = pixels_of(at(Cameras[0].aovs, positions).image);
    CloseScene();
    std::vector<bool> floor;
    for (std::size_t i = 0; i < normal.size(); ++i)
        floor.push_back(normal[i].z > 0.9999f && std::fabs(position[i].z) < 1e-3f);
    return floor;
}

// The pixels that are chosen among those of a picture.
Picture part_of(const Picture& picture, const std::vector<bool>& chosen) {
    Picture part;
    for (std::size_t i = 0; i < chosen.size(); ++i)
        if (chosen[i]) part.pixels.push_back(picture.pixels[i]);
    return part;
}

// Error by the number of frames on the floor of the statue, a line each: what plot_slope.py draws.
// The floor as a whole, and the lowest sixteenth of the picture, which has no shadow.
void bench_slope(const Subject& subject) {
    const std::vector<bool> floor = floor_pixels(subject);
    std::vector<bool> lit(floor.size());
    for (std::size_t i = lit.size() / 16 * 15; i < lit.size(); ++i)
        lit[i] = true;
    for (const auto& [estimator, name] :
         {std::pair(Estimator::classic, "classic"), std::pair(Estimator::exact, "exact")}) {
        const Picture truth = render(subject, estimator, 1000, options.reference);
        for (int frames = 16; frames <= 1024; frames *= 2) {
            std::vector<double> floor_errors, lit_errors;
            for (int run = 0; run < options.runs; ++run) {
                const Picture picture = render(subject, estimator, run, frames);
                floor_errors.push_back(
                    relative_error(part_of(picture, floor), part_of(truth, floor)));
                lit_errors.push_back(relative_error(part_of(picture, lit), part_of(truth, lit)));
            }
            std::printf("slope %s_floor %d %.4e\n", name, frames, median(floor_errors));
            std::printf("slope %s_lit %d %.4e\n", name, frames, median(lit_errors));
        }
    }
}

// The directory of the generated room.
std::string lamp_room() {
    const std::filesystem::path scene = scratch() / "lamps";
    WriteLampRoom(scene);
    return scene.string();
}

// "SCENE" or "SCENE:PHOTONS".
Subject subject_of(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) return {text};
    return {text.substr(0, colon), std::atoi(text.c_str() + colon + 1)};
}

std::optional<int> read_options(int argc, char** argv) {
    bool brief = false, lamps = false;
    std::vector<std::string> scenes;
    const Option rows[] = {
        {"--brief", "One small picture, as a test", &brief},
        {"--frames", "Of a measured picture", &options.frames},
        {"--reference", "Frames of the picture that errors are taken against", &options.reference},
        {"--runs", "Of each estimator, of which the median counts", &options.runs},
        {"--size", "Width and height in pixels; the scene's unless it is given", &options.size},
        {"--slope", "How the error falls with the frames, as plot_slope.py reads it",
         &options.slope},
        {"--lamps", "A room under 200 small lamps, before the scenes", &lamps},
        {"SCENE", "Directories; with \":PHOTONS\" behind one it is rendered by gathering", &scenes},
    };
    if (const auto status = ReadOptions(argc, argv, rows)) return status;
    if (brief) options = {true, false, 4, 16, 1, 0, {{MOONHARE_EXAMPLES "/cornell"}}};
    if (lamps) options.subjects.push_back({lamp_room()});
    std::ranges::transform(scenes, std::back_inserter(options.subjects), subject_of);
    return std::nullopt;
}

} // namespace

} // namespace mh::bench

int main(int argc, char** argv) {
    using namespace mh::bench;
    if (const auto status = read_options(argc, argv)) return *status;
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // a run that is cut short keeps its rows
    std::streambuf* const console = std::cout.rdbuf(nullptr);
    bench_startup();
    bench_scene_file();
    for (const int channels : {1, 3, 4})
        for (const float tiles : {1.0f, 4.0f})
            bench_look_ups(channels, tiles);
    for (const Subject& subject : options.subjects)
        options.slope ? bench_slope(subject) : bench_picture(subject);
    std::cout.rdbuf(console);
    std::filesystem::remove_all(scratch());
    return 0;
}
