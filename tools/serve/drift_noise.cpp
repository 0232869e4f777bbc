// How far a picture still moves.
// SPDX-License-Identifier: MIT
#include "serve/drift_noise.h"

#include "math/constants.h"
#include "output/aov.h"

#include <cmath>

namespace mh {

namespace {

constexpr std::int64_t kMostProbes = 10000; // pixels that are followed
constexpr double kDarkest = 0.01; // of the mean brightness, added so that black has no error

std::vector<float> probes_of(const Image& beauty) {
    const std::int64_t pixels = std::int64_t{beauty.width} * beauty.height;
    const std::int64_t step = std::max<std::int64_t>(pixels / kMostProbes, 1);
    std::vector<float> probes;
    for (std::int64_t pixel = step / 2; pixel < pixels; pixel += step) {
        const Vec3 value = read_pixel(beauty, pixel);
        probes.push_back((value.x + value.y + value.z) / 3.0f);
    }
    return probes;
}

// Mean of the relative errors; that of a normal variable is sqrt(2 / pi) of its deviation.
double error_between(const std::vector<float>& before, const std::vector<float>& now) {
    double mean = 0.0, sum = 0.0;
    for (const float value : now)
        mean += std::fabs(value);
    mean /= static_cast<double>(now.size());
    if (!(mean > 0.0)) return 0.0;
    for (std::size_t i = 0; i < now.size(); ++i)
        sum += std::fabs(now[i] - before[i]) / (std::fabs(now[i]) + kDarkest * mean);
    return std::sqrt(0.5 * static_cast<double>(kPi)) * sum / static_cast<double>(now.size());
}

} // namespace

void FollowDrift(DriftNoise& drift, const Image& beauty, std::uint32_t frames) {
    if (frames != drift.next) return;
    std::vector<float> now = probes_of(beauty);
    if (drift.before.size() == now.size() && !now.empty())
        drift.error = error_between(drift.before, now);
    drift.before = std::move(now);
    drift.frames = frames;
    drift.next = 2 * frames;
}

double NoiseNow(const DriftNoise& drift, std::uint32_t frames) {
    if (drift.error == 0.0 || frames == 0) return 0.0;
    return drift.error * std::sqrt(static_cast<double>(drift.frames) / frames);
}

} // namespace mh
