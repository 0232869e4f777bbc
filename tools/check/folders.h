// Files and folders of a scene that the reader passes by.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/scene_check.h"

namespace mh {

void CheckFolders(SceneCheck& check);

} // namespace mh
