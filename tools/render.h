// The command "render".
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Returns the exit status of the program.
int RenderScene(const Arguments& arguments);

} // namespace mh
