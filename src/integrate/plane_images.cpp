// Means of the features as images, and the estimated error of each pixel.
// SPDX-License-Identifier: MIT
#include "integrate/plane_images.h"

#include "integrate/noise.h"
#include "integrate/whole_frames.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/feature_planes.h"

#include <algorithm>

namespace mh {

namespace {

void show_feature(Image& image, Quantity quantity) {
    if (!keeps_features()) return;
    const Image frames = OfWholeFrames(PlaneSums.sums[0].image);
    const Image even = OfWholeFrames(plane_sum(quantity, Half::even).image);
    const Image odd = OfWholeFrames(plane_sum(quantity, Half::odd).image);
    for (std::size_t i = 0; i < frames.floats.size(); ++i) {
        const auto pixel = static_cast<std::int64_t>(i);
        const float n = std::max(frames.floats[i], 1.0f);
        const Vec3 mean = (read_pixel(even, pixel) + read_pixel(odd, pixel)) / n;
        write_pixel(image, pixel,
                    quantity == Quantity::normal ? 0.5f * (splat(1.0f) + mean) : mean);
    }
}

} // namespace

bool shows_planes(const Aov& aov) {
    return holds(aov, Channel::noise) || holds(aov, Channel::feature_albedo)
           || holds(aov, Channel::feature_normal) || holds(aov, Channel::feature_depth);
}

void ShowPlanes(Aov& aov) {
    if (!keeps_planes() || aov.image.width != PlaneSums.sums[0].image.width) return;
    if (holds(aov, Channel::noise)) ShowNoise(aov.image);
    if (holds(aov, Channel::feature_albedo)) show_feature(aov.image, Quantity::albedo);
    if (holds(aov, Channel::feature_normal)) show_feature(aov.image, Quantity::normal);
    if (holds(aov, Channel::feature_depth)) show_feature(aov.image, Quantity::depth);
}

void ShowAllPlanes() {
    if (Camera* camera = ActiveCamera())
        for (Aov& aov : camera->aovs)
            ShowPlanes(aov);
}

} // namespace mh
