// Numbers of a key line that make no sense, and keys that nothing reads.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/scene_lines.h"

namespace mh {

// After the values of a complete line went to their place. The range of a sub-block's key, null at
// the top level, holds for the colour in it.
void CheckValues(SceneLines& lines, const ReadNote& note, const Key* opener);

} // namespace mh
