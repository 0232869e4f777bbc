// The command "farm": a script with which a batch system renders a scene in pieces.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Prints it. Returns the exit status of the program.
int PrintFarmScript(const Arguments& arguments);

} // namespace mh
