// The frames of a run with a seed are summed exactly: pictures do not depend on the order of
// frames, nor on how they were shared out among runs. While a frame is under way the images hold
// that frame alone. After it the beauty image holds the mean of the frames summed, planes hold
// their sums, and the others hold means after ShowMeans alone.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/fixed_point.h"
#include "output/types.h"

#include <cstdint>
#include <vector>

namespace mh {

// Sums of 0 frames, of the images as they are. Nothing without a seed, or when they are kept
// already.
void StartFrameSums();

// Whether they are kept.
bool sums_frames();

// By the thread that is about to render row y of all images.
void clear_row(int y);

// Adds the frame that the images hold.
void AddFrameToSums();

// Puts the means of the frames summed into the images.
void ShowMeans();

// A copy of an image, with the means; of an image that has no sums, a copy.
Image MeansOf(const Image& image);

// The means of columns and rows of an image, row by row, with 0 outside of the region; false for an
// image that has no sums.
bool ReadMeans(const Image& image, const PixelRegion& part, std::vector<float>& values);

// The mean of so many frames, with their sum.
float mean_of(const FixedPoint& sum, std::uint32_t frames);

void ReleaseFrameSums();

} // namespace mh
