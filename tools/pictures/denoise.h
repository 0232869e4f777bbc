// The command "denoise": a picture and its features from files.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Writes the denoised picture; a file that exists already is replaced only where its name was
// given. Returns the exit status of the program.
int DenoiseImage(const Arguments& arguments);

} // namespace mh
