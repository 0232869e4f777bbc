// The state of this folder.
// SPDX-License-Identifier: MIT
#include "accel/state.h"

namespace mh {

AccelStateRecord AccelState;
const WalkKernel *WidestWalks = &kScalarWalks, *CurrentWalks = &kScalarWalks;
std::int32_t OcclusionLogging = 8;

void ResetAccel() {
    AccelState = {};
}

} // namespace mh
