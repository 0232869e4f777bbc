// The render behind the live view: one scene that is opened once and rendered again and again, as
// pages move its camera, choose a region, stop it and let it go on.
// SPDX-License-Identifier: MIT
#pragma once

#include "json_text.h"
#include "options.h"
#include "output/types.h"

namespace mh {

// Reads, renders, and then waits, until a signal ends it; on the main thread. The exit status.
int RunSession(const Arguments& arguments);

// On any thread: writes an image file, never together with the run's own.
bool WriteLiveImage(const Image& image);

// On any thread: the scene has changed, and cannot be read.
void ShowFaults(const Json& check);

} // namespace mh
