// The state of this folder.
// SPDX-License-Identifier: MIT
#include "denoise/state.h"

namespace mh {

bool UsesVectors = true;
bool UsesNetwork = false;

} // namespace mh
