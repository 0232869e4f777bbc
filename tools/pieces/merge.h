// The command "merge": pictures from the partial files of their pieces.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Returns the exit status of the program.
int MergePieces(const Arguments& arguments);

} // namespace mh
