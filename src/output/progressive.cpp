// The loop around the frames: counters, the performance line, the closing statistics and files.
// The render phase hands in what lies in other folders.
// SPDX-License-Identifier: MIT
#include "output/progressive.h"

#include "output/aov.h"
#include "output/camera.h"
#include "output/preview.h"
#include "output/run_hooks.h"
#include "run/report.h"
#include "run/types.h"

#include <algorithm>

namespace mh {

namespace {

FrameSteps Steps;

void report_performance() {
    const std::int64_t microseconds =
        std::max<std::int64_t>(RayStatistics.render_microseconds, 1); // an empty region takes none
    const auto duration = static_cast<float>(microseconds);
    ReportPair("performance", static_cast<float>(RayStatistics.render_rays) / duration,
               "M rays/second", "    ", 1000000.0f / duration, "frames/second");
}

// Mean per channel. The second moment is of each pixel's largest channel, so that the variance
// mixes the two: a measure of noise, not of one channel.
void report_beauty_statistics(const Image& image) {
    const std::int64_t pixels = std::int64_t{std::max(image.width, 0)} * std::max(image.height, 0);
    const auto count = static_cast<float>(pixels);
    Vec3 average, second_moment;
    for (std::int64_t i = 0; i < pixels; ++i) {
        const Vec3 pixel = read_pixel(image, i);
        const float largest = max_channel(pixel);
        average += pixel / count;
        second_moment += splat(largest * largest / count);
    }
    ReportRule();
    ReportLine("avgerage of " + image.path, average, "n/a");
    ReportLine("variance of " + image.path, second_moment - average * average, "n/a");
    ReportRule();
}

void close_run(const Camera& camera) {
    report_beauty_statistics(camera.aovs[0].image);
    ReportText("            close the window to exit. happy rendering :) thank you!");
    ReportRule();
    WriteAovs(camera.aovs);
    Steps.finish_lights();
}

} // namespace

bool RunFrame() {
    const Camera* camera = ActiveCamera();
    if (camera == nullptr || FrameIndex >= static_cast<std::uint32_t>(camera->sample)) return false;
    Steps.begin_frame(FrameIndex);
    RayStatistics = {};
    Steps.render_pixels(FrameIndex);
    if (FrameIndex == Hooks.first_frame) Steps.first_frame_done();
    ++FrameIndex;
    report_performance();
    if (Hooks.frame_done != nullptr) Hooks.frame_done();
    if (FrameIndex == static_cast<std::uint32_t>(camera->sample)) close_run(*camera);
    return true;
}

void RunProgressiveLoop(const FrameSteps& steps) {
    Steps = steps;
    FrameIndex = Hooks.first_frame;
    if (ActiveCamera() == nullptr) return;
    if (PreviewWindow && RunPreview(RunFrame)) return;
    while (RunFrame()) {
    }
}

} // namespace mh
