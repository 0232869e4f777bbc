// The commands "fmt" and "new": scene text in its usual layout.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Lays out every .mh file of the scene; the exit status. A file that the reader would not take as a
// whole is reported and stays as it is.
int LayOutScene(const Arguments& arguments);

// Makes a small scene with comments; refuses a directory that exists and is not empty.
int MakeScene(const Arguments& arguments);

} // namespace mh
