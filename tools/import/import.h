// The command "import", and renders of files of other programs.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Whether the argument names a file that is to be imported before it is rendered.
bool IsForeignFile(const std::string& path);

// Both return the exit status of the program.
int ImportFile(const Arguments& arguments);
int RenderForeignFile(const Arguments& arguments);

} // namespace mh
