// The option --watch: a scene that changes on the disk is read again.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// On a thread of its own, until EndWatching: looks at the folder, and below it, checks the scene
// after changes, and has the session read it again where there are no faults.
void StartWatching(const Arguments& arguments);
void EndWatching();

} // namespace mh
