// The loop around the frames: counters, the performance line, the closing statistics and files.
// The render phase hands in what lies in other folders.
// SPDX-License-Identifier: MIT
#include "integrate/progressive.h"

#include "integrate/frame_sums.h"
#include "integrate/noise.h"
#include "integrate/output_images.h"
#include "integrate/plane_images.h"
#include "integrate/state.h"
#include "integrate/whole_frames.h"
#include "math/stop.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/preview.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/report.h"
#include "run/state.h"

#include <algorithm>
#include <array>

namespace mh {

namespace {

void report_performance() {
    const std::int64_t microseconds =
        std::max<std::int64_t>(RayStatistics.render_microseconds, 1); // an empty region takes none
    const auto duration = static_cast<float>(microseconds);
    ReportPair("performance", static_cast<float>(RayStatistics.render_rays) / duration,
               "M rays/second", "    ", 1000000.0f / duration, "frames/second");
}

// Mean per channel. The second moment is of each pixel's largest channel, so that the variance
// mixes the two: a measure of noise, not of one channel.
// Sums are in double: in float those of a few million pixels lose a tenth.
void report_beauty_statistics(const Image& image) {
    const std::int64_t pixels = std::int64_t{std::max(image.width, 0)} * std::max(image.height, 0);
    std::array<double, 3> sums = {};
    double squares = 0.0;
    for (std::int64_t i = 0; i < pixels; ++i) {
        const Vec3 pixel = read_pixel(image, i);
        const double largest = max_channel(pixel);
        sums[0] += pixel.x;
        sums[1] += pixel.y;
        sums[2] += pixel.z;
        squares += largest * largest;
    }
    const double count = static_cast<double>(std::max<std::int64_t>(pixels, 1));
    const auto average = [&](std::size_t c) { return sums[c] / count; };
    const auto variance = [&](std::size_t c) {
        return static_cast<float>(squares / count - average(c) * average(c));
    };
    ReportRule();
    // Spelled so on purpose: programs look for this text.
    ReportLine("avgerage of " + image.path,
               Vec3{static_cast<float>(average(0)), static_cast<float>(average(1)),
                    static_cast<float>(average(2))},
               "n/a");
    ReportLine("variance of " + image.path, Vec3{variance(0), variance(1), variance(2)}, "n/a");
    ReportRule();
}

void report_noise() {
    if (!keeps_planes()) return;
    const Noise noise = MeasureNoise();
    if (noise.known) {
        ReportLine("noise, mean of pixels", static_cast<float>(noise.mean), "n/a");
        ReportLine("noise, 95 % of blocks", static_cast<float>(noise.percentile), "n/a");
    } else {
        ReportText("noise: too few frames for an estimate");
    }
    ReportRule();
}

void close_run(const Camera& camera) {
    ShowMeans();
    if (RendererSettings.adaptive) EndWithFramesDone(); // sums of pixels with frames of their own
    report_beauty_statistics(camera.aovs[0].image);
    report_noise();
    if (PreviewIsOpen()) {
        ReportText("            close the window to exit. happy rendering :) thank you!");
        ReportRule();
    }
    ShowAllPlanes();
    WriteAovs(camera.aovs);
    IntegrateState.steps.finish_lights();
}

// The frames done become all there are. Without one nothing is written.
void end_early(const Camera& camera) {
    if (FrameIndex == 0) return ForgetOutputs();
    if (Hooks.ended_early != nullptr) Hooks.ended_early();
    EndWithFramesDone();
    close_run(camera);
}

// One behind the last frame of this run.
std::uint32_t end_of_frames(const Camera& camera) {
    return std::min(static_cast<std::uint32_t>(camera.sample), Hooks.end_frame);
}

bool frames_are_missing(const Camera* camera) {
    return camera != nullptr && FrameIndex < end_of_frames(*camera);
}

} // namespace

void BeginFrames(const FrameSteps& steps) {
    IntegrateState.steps = steps;
    FrameIndex = Hooks.first_frame;
    IntegrateState.noise.clear();
    if (ActiveCamera() != nullptr) StartFrameSums();
}

bool AddFrame() {
    IntegrateState.steps.begin_frame(FrameIndex);
    RayStatistics = {};
    BeginFrame();
    IntegrateState.steps.render_pixels(FrameIndex);
    if (!EndFrame()) return false;
    if (FrameIndex == Hooks.first_frame) IntegrateState.steps.first_frame_done();
    ++FrameIndex;
    return true;
}

bool RunFrame() {
    const Camera* camera = ActiveCamera();
    if (!frames_are_missing(camera) || stop_requested()) return false;
    if (!AddFrame()) return false;
    report_performance();
    FollowNoise(FrameIndex);
    if (Hooks.frame_done != nullptr) Hooks.frame_done();
    if (target_is_reached()) EndWithFramesDone();
    if (FrameIndex == end_of_frames(*camera)) close_run(*camera);
    return true;
}

void RunProgressiveLoop(const FrameSteps& steps) {
    BeginFrames(steps);
    if (ActiveCamera() == nullptr) return;
    if (!PreviewWindow || !RunPreview(RunFrame)) {
        while (RunFrame()) {
        }
    }
    if (frames_are_missing(ActiveCamera())) end_early(*ActiveCamera());
    ReleaseWholeFrames();
}

} // namespace mh
