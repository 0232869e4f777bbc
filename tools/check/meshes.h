// Text of mesh files: what their reader passes over.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/scene_check.h"

namespace mh {

void CheckMeshes(SceneCheck& check);

} // namespace mh
