// Images that a scene names.
// SPDX-License-Identifier: MIT
#pragma once

#include "scene_check.h"

namespace mh {

// Reads each image once, into the records of the scene where they have a place; returns the sum of
// their sizes in bytes.
double CheckImages(SceneCheck& check);

} // namespace mh
