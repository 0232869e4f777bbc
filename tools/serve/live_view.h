// What is rendered for pages: the camera as it has been moved, at one scale after the other, and
// the frames of the view. All but FirstScale by the thread that renders.
// SPDX-License-Identifier: MIT
#pragma once

#include "serve/requests.h"

#include <cstdint>
#include <string>

namespace mh {

// How coarse the first picture of a view of this size is.
int FirstScale(int width, int height);

// The camera of the scene that is open, as the scene and the options say. output_dir: of pictures,
// for the camera's block.
void ShowScene(const std::string& output_dir);

// A first coarse picture of the scene, of traced paths; to be called before the photons are cast,
// which may take long.
void ShowBeforePhotons();

// Starts the frames of the camera as it is now.
void BeginView();

// Moves the camera and chooses the region as asked.
void ChangeView(const Requests& requests);

// Whether it is no longer the scene's.
bool is_changed_view();

// Adds a frame of the view, or its next scale; false when it was cut.
bool AddViewFrame();

// Whether all frames of the view are there.
bool view_is_done();

// Whether whole frames of the whole picture are there.
bool can_write();

// Frames were held up for so many seconds.
void HoldUp(double seconds);

void CloseView();

} // namespace mh
