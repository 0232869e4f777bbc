// The render behind the live view: one scene that is opened once and rendered again and again, as
// pages move its camera, choose a region, stop it and let it go on.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"
#include "serve/live_camera.h"
#include "serve/live_status.h"

#include <optional>

namespace mh {

// Reads, renders, and then waits, until a signal ends it; on the main thread. The exit status.
int RunSession(const Arguments& arguments);

// On any thread.
LiveStatus StatusNow();

// Waits until something but numbers of frames has changed since the version, or so many
// milliseconds; returns the version there is.
std::uint64_t WaitForChange(std::uint64_t version, int milliseconds);

// Requests; the thread that renders takes them up as soon as it can.
void MoveLiveCamera(const CameraMove& move);
void ResetLiveCamera();
void ChooseRegion(const std::optional<PixelRegion>& region); // none: that of the scene
void StopFrames();
void GoOn();
void WriteNow();

// Writes an image file, never together with the run's own.
bool WriteLiveImage(const Image& image);

void Reread(const Json& check);     // the scene has changed; what a check finds in it
void ShowFaults(const Json& check); // it has changed, and cannot be read

// Somebody looks on: the first frame of a view is preceded by coarser ones.
void ViewerCame();
void ViewerLeft();

} // namespace mh
