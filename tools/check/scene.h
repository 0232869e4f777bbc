// Faults of a scene as a whole, once it is read: names, files, lights, memory.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/lines.h"

namespace mh {

// Adds what it finds to lines.faults. Reads the images that the scene names.
void CheckReadScene(const std::string& directory, SceneLines& lines, CapturedReport& report);

} // namespace mh
