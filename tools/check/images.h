// Images that a scene names.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/scene_check.h"

namespace mh {

// Reads each image once, into the records of the scene where they have a place.
void CheckImages(SceneCheck& check);

} // namespace mh
