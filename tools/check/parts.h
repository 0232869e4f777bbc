// What the files and images of an object gave.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/scene_check.h"

namespace mh {

// Also notes the shaders of hair.
void CheckParts(SceneCheck& check);

} // namespace mh
