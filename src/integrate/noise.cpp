// Errors of pixels from the sums of the planes.
// SPDX-License-Identifier: MIT
#include "integrate/noise.h"

#include "integrate/whole_frames.h"
#include "output/aov.h"
#include "output/feature_planes.h"

#include <cmath>

namespace mh {

void ShowNoise(Image& image) {
    const Image frames = OfWholeFrames(PlaneSums.sums[0].image);
    const Image even = OfWholeFrames(plane_sum(Quantity::beauty, Half::even).image);
    const Image odd = OfWholeFrames(plane_sum(Quantity::beauty, Half::odd).image);
    const Image squares = OfWholeFrames(plane_sum(Quantity::beauty, Half::squares).image);
    for (std::size_t i = 0; i < image.floats.size(); ++i) {
        const float n = frames.floats[i / 3];
        image.floats[i] =
            std::sqrt(variance_of_mean(even.floats[i] + odd.floats[i], squares.floats[i], n));
    }
}

} // namespace mh
