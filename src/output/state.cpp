// The state of this folder.
// SPDX-License-Identifier: MIT
#include "output/state.h"

namespace mh {

OutputStateRecord OutputState;
RunHooks Hooks;
PreviewRecord Preview;

void ResetOutput() {
    OutputState = {};
}

} // namespace mh
