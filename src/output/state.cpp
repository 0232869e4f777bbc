// The state of this folder.
// SPDX-License-Identifier: MIT
#include "output/state.h"

namespace mh {

OutputStateRecord OutputState;
RunHooks Hooks;

void ResetOutput() {
    OutputState = {};
}

} // namespace mh
