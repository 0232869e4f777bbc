// All images that a run writes, of the cameras and of the lights, and what holds for them between
// frames: the beauty image is a mean, the others are sums that become means with the last frame, or
// means too while the frames are summed apart.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

#include <functional>
#include <vector>

namespace mh {

enum class Filling {
    mean,     // of the frames so far: the beauty image of the active camera, or all with a seed
    sum,      // a share of 1 / (number of frames) with each frame
    complete, // by the photons, or never: it does not change with frames
    plane,    // a sum of output/feature_planes.h; it has no file
    derived,  // from the planes, when it is written
};

// Whether frames add to the image, so that it is kept and restored with them.
constexpr bool grows(Filling filling) {
    return filling == Filling::mean || filling == Filling::sum || filling == Filling::plane;
}

// Every AOV in a fixed order: active camera, other cameras, sky, geometry, point, parallel lights,
// planes.
void ForEachOutput(const std::function<void(Aov& aov, Filling filling)>& act);

// Writes all images as pictures of the whole frames done, also while a frame is under way.
void WriteOutputs();

// Makes the frames done all there are, so that the run ends: sums become means of these frames. A
// second call does nothing.
void EndWithFramesDone();

// An image of the same name, size and format, black.
Image EmptyCopy(const Image& image);

// Nothing will be written; or nothing of what changes with frames.
void ForgetOutputs();
void ForgetFrames();

// What sums are to be multiplied by to be means of the frames done; 0 before the first.
struct SumScale {
    float of_all = 0.0f;
    std::vector<float> of_pixels; // where pixels have frames of their own

    float at(std::size_t pixel) const { return of_pixels.empty() ? of_all : of_pixels[pixel]; }
};

SumScale SumsToMeans();

void scale(Image& image, const SumScale& factor);

} // namespace mh
