// The report of a run as JSON.
// SPDX-License-Identifier: MIT
#include "run_report.h"

#include "integrate/noise.h"
#include "integrate/output_images.h"
#include "integrate/plane_images.h"
#include "integrate/whole_frames.h"
#include "math/at.h"
#include "math/threads.h"
#include "output/feature_planes.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/state.h"
#include "run_control.h"
#include "version.h"

#include <array>
#include <cmath>
#include <fstream>
#include <string>

#include <sys/resource.h>

namespace mh {

namespace {

constexpr double kBytesOfKilobyte = 1024.0;

struct Statistics {
    std::array<double, 3> mean = {}, variance = {};
    std::int64_t not_finite = 0; // pixels
};

// Of each channel over the finite pixels, in double precision by Welford's update, [Welford62].
Statistics statistics_of(const Image& image, const SumScale& factor) {
    Statistics result;
    const auto channels = to_size(image.channels);
    if (channels < 3) return result;
    double count = 0.0;
    for (std::size_t i = 0; i + channels <= image.floats.size(); i += channels) {
        const float* pixel = &image.floats[i];
        if (!std::isfinite(pixel[0]) || !std::isfinite(pixel[1]) || !std::isfinite(pixel[2])) {
            ++result.not_finite;
            continue;
        }
        ++count;
        const auto scale = static_cast<double>(factor.at(i / channels));
        for (std::size_t c = 0; c < 3; ++c) {
            const double value = static_cast<double>(pixel[c]) * scale;
            const double delta = value - result.mean[c];
            result.mean[c] += delta / count;
            result.variance[c] += delta * (value - result.mean[c]);
        }
    }
    for (double& variance : result.variance)
        variance /= std::max(count, 1.0);
    return result;
}

Json image_json(const Image& image, const SumScale& factor) {
    const Statistics statistics = statistics_of(image, factor);
    return {{"file", image.path},
            {"width", image.width},
            {"height", image.height},
            {"mean", statistics.mean},
            {"variance", statistics.variance},
            {"pixels_not_finite", statistics.not_finite}};
}

Json phases_json(const std::vector<PhaseTime>& phases) {
    Json object = Json::object();
    for (const PhaseTime& phase : phases)
        object[phase.name] = phase.seconds;
    return object;
}

} // namespace

// The kernel's count for getrusage begins with what the parent held when it started this process.
double peak_memory_bytes() {
    std::ifstream status("/proc/self/status");
    double kilobytes = 0.0;
    for (std::string word; status >> word;)
        if (word == "VmHWM:" && status >> kilobytes) return kBytesOfKilobyte * kilobytes;
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * kBytesOfKilobyte;
}

Json ImageStatistics() {
    Json images = Json::array();
    const SumScale of_sums = SumsToMeans(), of_means = {1.0f, {}};
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (aov.image.path.empty()) return;
        if (filling == Filling::derived) ShowPlanes(aov);
        images.push_back(
            image_json(OfWholeFrames(aov.image), filling == Filling::sum ? of_sums : of_means));
    });
    return images;
}

Json NoiseStatistics() {
    if (!keeps_planes()) return {};
    const Noise noise = MeasureNoise();
    if (!noise.known) return {{"unknown", "too few frames for an estimate"}};
    return {{"mean_of_pixels", noise.mean}, {"percentile_95_of_blocks", noise.percentile}};
}

std::string RunReportText(const RunRecord& record, const std::string& scene, int status) {
    Json object = {
        {"scene", scene},
        {"exit_status", status},
        {"build",
         {{"version", ProgramVersion()}, {"commit", CommitName()}, {"compiler", CompilerName()}}},
        {"machine",
         {{"system", MachineName()},
          {"instruction_set", InstructionSet()},
          {"threads", team_size()}}},
        {"frames", FrameIndex},
        {"phases_s", phases_json(record.phases)},
        {"elapsed_s", seconds_running()},
        {"peak_memory_bytes", peak_memory_bytes()},
        {"rays", record.rays},
        {"shadow_rays", record.shadow_rays},
        {"rays_per_second",
         static_cast<double>(record.rays) / std::max(record.frame_seconds, 1e-6)},
        {"samples_not_finite", record.samples_not_finite},
        {"aov_values_not_finite", record.aov_values_not_finite}};
    if (!record.noise.is_null()) object["noise"] = record.noise;
    if (record.denoised_noise > 0.0)
        object["denoised_percentile_95_of_blocks"] = record.denoised_noise;
    object["images"] = record.images;
    return JsonLine(object);
}

} // namespace mh
