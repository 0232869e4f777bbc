// The state of this folder.
// SPDX-License-Identifier: MIT
#include "integrate/state.h"

namespace mh {

IntegrateStateRecord IntegrateState;
FrameUnderWay CurrentFrame;

void ResetIntegrate() {
    IntegrateState = {};
}

} // namespace mh
