// A window that shows the beauty image grow.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// Opens the window, calls frame whenever idle (it returns whether there was one to render), draws,
// and returns after the window was closed. False, with one error line, when there is no display;
// the caller then renders without a window.
bool RunPreview(bool (*frame)());

bool PreviewIsOpen();

// Whether the last call of RunPreview had a window.
bool PreviewWasShown();

} // namespace mh
