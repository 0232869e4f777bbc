// A window that shows the beauty image grow.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// Opens the window, calls frame whenever idle, and returns after it was closed. False, with one
// error line, when there is no display; the caller then renders without a window.
bool RunPreview(void (*frame)());

// Shows the current beauty image; from within the idle function only.
void DrawPreview();

} // namespace mh
