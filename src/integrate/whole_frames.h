// The output images as they stood after the last whole frame, while the next one is under way: a
// frame that is cut short leaves no trace, and what is whole can be written at any moment. Does
// nothing unless Hooks.drops_cut_frames is set; it takes as much memory again as the images.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

#include <functional>
#include <vector>

namespace mh {

// Before a frame; the images keep their size until ReleaseWholeFrames.
void BeginFrame();

// By the thread that is about to render row y of all images.
void keep_row(int y);

// By a thread that found the stop request in the middle of its work.
void cut_frame();

// After a frame. False when it was cut short: the images are put back.
bool EndFrame();

// Runs act while no row is begun and no frame ends, if a frame is under way; returns whether.
bool DuringFrame(const std::function<void()>& act);

// A copy of an image as the last whole frame left it. Within DuringFrame, or between frames.
Image OfWholeFrames(const Image& image);

// The same of columns and rows that lie in the image alone: its channels, row by row.
void ReadWholeFrames(const Image& image, const PixelRegion& part, std::vector<float>& values);

void ReleaseWholeFrames();

} // namespace mh
