// The report of a run as JSON.
// SPDX-License-Identifier: MIT
#include "run_report.h"

#include "integrate/noise.h"
#include "integrate/output_images.h"
#include "integrate/plane_images.h"
#include "json_text.h"
#include "math/threads.h"
#include "output/feature_planes.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/state.h"
#include "run_control.h"
#include "version.h"

#include <array>
#include <cmath>

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
    const auto channels = static_cast<std::size_t>(image.channels);
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

std::string triple(const std::array<double, 3>& values) {
    const std::array<std::string, 3> texts = {JsonNumber(values[0]), JsonNumber(values[1]),
                                              JsonNumber(values[2])};
    return JsonArray(texts);
}

std::string image_json(const Image& image, const SumScale& factor) {
    const Statistics statistics = statistics_of(image, factor);
    JsonObject object;
    add(object, "file", JsonString(image.path));
    add(object, "width", std::to_string(image.width));
    add(object, "height", std::to_string(image.height));
    add(object, "mean", triple(statistics.mean));
    add(object, "variance", triple(statistics.variance));
    add(object, "pixels_not_finite", std::to_string(statistics.not_finite));
    return closed(object);
}

std::string phases_json(const std::vector<PhaseTime>& phases) {
    JsonObject object;
    for (const PhaseTime& phase : phases)
        add(object, phase.name, JsonNumber(phase.seconds));
    return closed(object);
}

std::string build_json() {
    JsonObject object;
    add(object, "version", JsonString(ProgramVersion()));
    add(object, "commit", JsonString(CommitName()));
    add(object, "compiler", JsonString(CompilerName()));
    return closed(object);
}

std::string machine_json() {
    JsonObject object;
    add(object, "system", JsonString(MachineName()));
    add(object, "instruction_set", JsonString(InstructionSet()));
    add(object, "threads", std::to_string(team_size()));
    return closed(object);
}

} // namespace

double peak_memory_bytes() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * kBytesOfKilobyte;
}

std::vector<std::string> ImageStatistics() {
    std::vector<std::string> images;
    const SumScale of_sums = SumsToMeans(), of_means = {1.0f, {}};
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (aov.image.path.empty()) return;
        if (filling == Filling::derived) ShowPlanes(aov);
        images.push_back(image_json(aov.image, filling == Filling::sum ? of_sums : of_means));
    });
    return images;
}

std::string NoiseStatistics() {
    if (!keeps_planes()) return {};
    const Noise noise = MeasureNoise();
    JsonObject object;
    add(object, "mean_of_pixels", JsonNumber(noise.mean));
    add(object, "percentile_95_of_blocks", JsonNumber(noise.percentile));
    return closed(object);
}

std::string RunReportText(const RunRecord& record, const std::string& scene, int status) {
    JsonObject object;
    add(object, "scene", JsonString(scene));
    add(object, "exit_status", std::to_string(status));
    add(object, "build", build_json());
    add(object, "machine", machine_json());
    add(object, "frames", std::to_string(FrameIndex));
    add(object, "phases_s", phases_json(record.phases));
    add(object, "elapsed_s", JsonNumber(seconds_running()));
    add(object, "peak_memory_bytes", JsonNumber(peak_memory_bytes()));
    add(object, "rays", std::to_string(record.rays));
    add(object, "shadow_rays", std::to_string(record.shadow_rays));
    add(object, "rays_per_second",
        JsonNumber(static_cast<double>(record.rays) / std::max(record.frame_seconds, 1e-6)));
    add(object, "samples_not_finite", std::to_string(record.samples_not_finite));
    add(object, "aov_values_not_finite", std::to_string(record.aov_values_not_finite));
    if (!record.noise.empty()) add(object, "noise", record.noise);
    add(object, "images", JsonArray(record.images));
    return closed(object) + '\n';
}

} // namespace mh
