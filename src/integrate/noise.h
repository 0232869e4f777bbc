// How far the picture is from its limit, estimated from the sums of the planes. Not seen: what all
// frames share, as photons.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

#include <array>
#include <vector>

namespace mh {

constexpr int kBlockSize = 8; // pixels; blocks start at the corner of the image

struct BlockGrid {
    int columns = 0, rows = 0;
};

BlockGrid grid_of(const Camera& camera);

// What is rendered of a block; all 0 when nothing is.
PixelRegion block_of(const Camera& camera, int block);

// Of the pixels of a block that have frames.
struct BlockNoise {
    float pixels = 0.0f;
    float frames = 0.0f;   // of each
    float light = 0.0f;    // mean of all channels
    float variance = 0.0f; // of a channel's mean over the frames; mean of all channels
    float error = 0.0f;    // relative: root of the variance over brightness
    // Mean over pixels of the variance as it is seen: brightness L counts as asinh(10 L) / 10
    // [Lupton04]. Of each of two parts of the pixels, which share no bounces.
    std::array<float, 2> seen = {};
    float rays = 1.0f;  // of a path, where they are counted
    float share = 1.0f; // of the variance that frames independent of each other would have
};

// Of the whole grid, row by row, as the last frame has left the planes; empty where none are kept.
// Between frames.
std::vector<BlockNoise> MeasureBlocks();

// Relative errors. Brightness counts as a hundredth of the picture's mean more than it is, so that
// black has none.
struct Noise {
    double mean = 0.0;       // over pixels
    double percentile = 0.0; // the 95th, over blocks, each by the mean variance of its pixels
    bool known = false;      // whether there are frames enough to believe either
};

// Zeros where no planes are kept.
Noise MeasureNoise();

struct NoiseOfPixel {
    float frames = 0.0f; // 0 where nothing is rendered
    float light = 0.0f;  // mean of its channels
    float error = 0.0f;  // of a channel, absolute
};

// The same percentile of a picture of which this is known.
double PercentileOfBlocks(const std::vector<NoiseOfPixel>& pixels, int width);

// Of a run with a target, after each frame and before those that resume it: measures, where that is
// worth it.
void FollowNoise(std::uint32_t frames);

// Whether the percentile has fallen below RendererSettings.noise.
bool target_is_reached();

// The percentile as last measured; 0 before.
double followed_noise();

// Frames that the run will have had when it reaches its target, as the percentile has fallen so
// far; at most those of the camera.
double frames_expected();

// Fills the image with each pixel's relative error, per channel, as the last whole frame left it.
void ShowNoise(Image& image);

} // namespace mh
