// The loop around the frames: one sample per pixel each, the performance lines, the closing
// statistics, and the optional preview window.
// SPDX-License-Identifier: MIT
#pragma once

#include "integrate/types.h"

namespace mh {

// All frames of the active camera, in the preview window when PreviewWindow is set. A stop request
// and a window that is closed end the run early: images are those of the whole frames, and without
// one nothing is written. Without a camera nothing happens.
void RunProgressiveLoop(const FrameSteps& steps);

// The parts of the loop, for a program that shows pictures and changes the camera in between:
// images cleared for the camera as it stands, then frames. No closing steps: nothing is written.
void BeginFrames(const FrameSteps& steps);

// Adds one frame and counts it, unless it was cut; whether it is whole.
bool AddFrame();

// One frame if one is due, and after the last the closing steps; whether a whole one was made.
bool RunFrame();

} // namespace mh
