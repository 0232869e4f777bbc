// The global tables of this folder.
// SPDX-License-Identifier: MIT
#include "integrate/types.h"

namespace mh {

std::vector<CausticPhoton> Photons;

} // namespace mh
