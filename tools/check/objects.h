// Objects, their parts and instances.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/scene_check.h"

namespace mh {

void CheckObjects(SceneCheck& check);

} // namespace mh
