// The option --confine: what a scene from elsewhere may read.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Where the option is given, nothing outside of the scene's folder is read for the scene, and a
// line says so of each such file.
void ConfineToScene(const Arguments& arguments);

} // namespace mh
