// The images of a render as pages see them, while it goes on: read tile by tile by threads that
// wait for it, never the other way round.
// SPDX-License-Identifier: MIT
#pragma once

#include "integrate/output_images.h"
#include "output/types.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace mh {

struct LiveImage {
    Aov* aov = nullptr;
    Filling filling = Filling::mean;
    std::string name; // of its file
};

// What all of them show.
struct LiveView {
    std::uint32_t generation = 0; // grows when camera, region or scene change
    int scale = 1;                // width of the whole picture over that of the images
    std::uint32_t frames = 0;     // that they are means of
};

// By the thread that renders: the images of the scene that is open, and none.
void FindLiveImages();
void ForgetLiveImages();
std::vector<LiveImage> LiveImages();

// By the thread that renders. Closed, nobody reads them, and they may change their size; open, they
// are read while a frame is under way; at rest, while none is.
enum class ImageState { closed, open, at_rest };
void SetImageState(ImageState state);

// By the thread that renders: of the view that begins, while they are closed, and after its frames.
void SetLiveView(const LiveView& view);
void CountLiveFrames(std::uint32_t frames);

// By the thread that renders, after the one frame of a coarse scale: a copy that is shown until the
// next scale has a frame.
void KeepCoarseImages();

// Runs act while no frame ends and the images keep their size; false when that isn't so now.
bool WithImages(
    const std::function<void(const std::vector<LiveImage>& images, LiveView view)>& act);

// Whether a mean of so many frames looks different from one of fewer.
bool is_worth_showing(std::uint32_t shown_frames, std::uint32_t frames);

// Within WithImages: means of columns and rows of an image, three channels, row by row. What
// photons have left in an image exists only at the scale of the whole picture.
std::vector<float> ReadLive(const LiveImage& image, const PixelRegion& part);

// A binary16 number, [IEEE754], nearest; what is too large becomes the largest.
std::uint16_t half_of(float value);

} // namespace mh
