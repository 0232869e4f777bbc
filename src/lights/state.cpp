// The state of this folder.
// SPDX-License-Identifier: MIT
#include "lights/state.h"

namespace mh {

LightsStateRecord LightsState;

void ResetLights() {
    LightsState = {};
}

} // namespace mh
