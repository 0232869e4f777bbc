// Faults that the lines of a scene's files show while the reader goes through them, and the names
// that they mention.
// SPDX-License-Identifier: MIT
#pragma once

#include "captured_report.h"
#include "check/scene_lines.h"

namespace mh {

// A listener that fills the record.
ReadListener ListenTo(SceneLines& lines, CapturedReport& report);

} // namespace mh
