// Sums over the frames of a pixel, and what they come to.
// SPDX-License-Identifier: MIT
#include "output/feature_planes.h"

#include "math/at.h"
#include "math/memory.h"
#include "output/aov.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/report.h"
#include "run/state.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <utility>

namespace mh {

namespace {

constexpr std::size_t kSumsOfNoise = 5, kSumsOfFeatures = 14, kFirstOfDepth = 12;

std::size_t sums_of(PlaneNeed need) {
    switch (need) {
    case PlaneNeed::none: return 0;
    case PlaneNeed::noise: return kSumsOfNoise;
    case PlaneNeed::features: return kSumsOfFeatures;
    }
    std::abort();
}

// Without rays, which stand behind all others.
std::int32_t channels_of(std::size_t sum, PlaneNeed need) {
    return sum < 2 || sum >= kFirstOfDepth || sum >= sums_of(need) ? 1 : 3;
}

PlaneNeed need_of(const Aov& aov) {
    if (holds(aov, Channel::noise)) return PlaneNeed::noise;
    const bool feature = holds(aov, Channel::feature_albedo) || holds(aov, Channel::feature_normal)
                         || holds(aov, Channel::feature_depth);
    return feature ? PlaneNeed::features : PlaneNeed::none;
}

void add_to(float& sum, float value) {
    constexpr float kMost = std::numeric_limits<float>::max();
    sum = std::clamp(sum + value, -kMost, kMost);
}

void add_sample(Quantity quantity, bool odd, std::int64_t pixel, const Vec3& value) {
    Image& half = plane_sum(quantity, odd ? Half::odd : Half::even).image;
    Image* squares = has_squares(quantity) ? &plane_sum(quantity, Half::squares).image : nullptr;
    const auto channels = to_size(half.channels);
    const std::size_t first = to_size(pixel) * channels;
    const float components[3] = {value.x, value.y, value.z};
    for (std::size_t c = 0; c < channels; ++c) {
        add_to(half.floats[first + c], components[c]);
        if (squares != nullptr) add_to(squares->floats[first + c], components[c] * components[c]);
    }
}

// Makes means of the sums of halves, and of the squares the variance of the mean over all frames.
Plane finished(std::vector<Aov>& sums, Quantity quantity, const std::vector<float>& frames) {
    const auto take = [&](Half half) { return std::move(sums[place_of(quantity, half)].image); };
    Image even_sum = take(Half::even);
    Plane plane;
    plane.channels = even_sum.channels;
    plane.half = {std::move(even_sum.floats), take(Half::odd).floats};
    if (has_squares(quantity)) plane.variance = take(Half::squares).floats;
    const auto channels = to_size(plane.channels);
    for (std::size_t i = 0; i < plane.half[0].size(); ++i) {
        const float n = frames[i / channels];
        const float odd = std::floor(0.5f * n), even = n - odd;
        float &a = plane.half[0][i], &b = plane.half[1][i];
        if (has_squares(quantity))
            plane.variance[i] = variance_of_mean(a + b, plane.variance[i], n);
        a = a / std::max(even, 1.0f);
        b = odd > 0.0f ? b / odd : a; // a single frame is all there is to know
    }
    return plane;
}

} // namespace

float variance_of_mean(float sum, float squares, float n) {
    if (n < 2.0f) return squares;
    const double mean = static_cast<double>(sum) / static_cast<double>(n);
    const double spread = static_cast<double>(squares) / static_cast<double>(n) - mean * mean;
    return static_cast<float>(std::max(spread, 0.0) / (static_cast<double>(n) - 1.0));
}

void AskForPlanes(PlaneNeed need) {
    PlaneSums.asked = std::max(PlaneSums.asked, need);
}

PlaneNeed PlanesNeeded(const Camera& camera) {
    PlaneNeed need = PlaneSums.asked;
    if (RendererSettings.adaptive || RendererSettings.noise > 0.0f)
        need = std::max(need, PlaneNeed::noise);
    for (const Aov& aov : camera.aovs)
        need = std::max(need, need_of(aov));
    return need;
}

void AllocatePlanes(const Camera& camera) {
    const PlaneNeed need = PlanesNeeded(camera);
    PlaneSums.kept = PlaneNeed::none;
    PlaneSums.sums.clear();
    const double pixels = 1.0 * camera.width * camera.height;
    if (!FitsMemory(pixels * bytes_of_planes(need))) {
        ReportError("camera - what estimates noise needs more memory than there is");
        return;
    }
    PlaneSums.kept = need;
    PlaneSums.sums.resize(sums_of(need) + (RendererSettings.adaptive ? 1 : 0));
    for (std::size_t i = 0; i < PlaneSums.sums.size(); ++i) {
        PlaneSums.sums[i].image.channels = channels_of(i, need);
        AllocateAov(PlaneSums.sums[i], camera.width, camera.height);
    }
}

bool RestorePlanes(std::vector<Aov> sums, std::int32_t frames) {
    for (const PlaneNeed need : {PlaneNeed::none, PlaneNeed::noise, PlaneNeed::features})
        if (sums.size() >= sums_of(need)) PlaneSums.kept = need;
    bool fits = sums.size() <= sums_of(PlaneSums.kept) + (keeps_planes() ? 1 : 0);
    for (std::size_t i = 0; fits && i < sums.size(); ++i)
        fits = sums[i].image.channels == channels_of(i, PlaneSums.kept);
    if (!fits) return false;
    PlaneSums.sums = std::move(sums);
    PlaneSums.ended_of = frames;
    return true;
}

bool counts_rays() {
    return keeps_planes() && PlaneSums.sums.size() > sums_of(PlaneSums.kept);
}

void ReleasePlanes() {
    PlaneSums = {};
}

void add_frame(std::int64_t pixel, std::uint32_t n, const Vec3& value,
               const FeatureSample& features) {
    if (!keeps_planes()) return;
    const bool odd = n % 2 == 1;
    at(frames_done(), pixel) += 1.0f;
    add_sample(Quantity::beauty, odd, pixel, value);
    if (!keeps_features()) return;
    add_sample(Quantity::direct, odd, pixel, min(features.direct, value)); // what clamps left of it
    add_sample(Quantity::albedo, odd, pixel, features.albedo);
    add_sample(Quantity::normal, odd, pixel, features.normal);
    add_sample(Quantity::depth, odd, pixel, splat(features.depth));
}

double bytes_of_planes(PlaneNeed need) {
    double floats = 0.0;
    for (std::size_t i = 0; i < sums_of(need); ++i)
        floats += channels_of(i, need);
    if (need != PlaneNeed::none && RendererSettings.adaptive) ++floats;
    constexpr double kWithSums = sizeof(float) + sizeof(double); // of one frame, of all
    return floats * (is_seeded() ? kWithSums : bytes_of_pixel() / 3.0);
}

FeaturePlanes PlanesOf(std::vector<Aov> sums) {
    FeaturePlanes planes;
    if (sums.empty()) return planes;
    planes.width = sums[0].image.width;
    planes.height = sums[0].image.height;
    planes.frames = std::move(sums[0].image.floats);
    planes.beauty = finished(sums, Quantity::beauty, planes.frames);
    if (sums.size() >= kSumsOfFeatures) {
        planes.direct = finished(sums, Quantity::direct, planes.frames);
        planes.albedo = finished(sums, Quantity::albedo, planes.frames);
        planes.normal = finished(sums, Quantity::normal, planes.frames);
        planes.depth = finished(sums, Quantity::depth, planes.frames);
    }
    return planes;
}

FeaturePlanes TakeFeaturePlanes() {
    PlaneSums.kept = PlaneNeed::none;
    return PlanesOf(std::exchange(PlaneSums.sums, {}));
}

} // namespace mh
