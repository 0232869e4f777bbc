// The command "serve".
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Returns the exit status of the program.
int Serve(const Arguments& arguments);

} // namespace mh
