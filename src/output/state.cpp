// The global tables of this folder.
// SPDX-License-Identifier: MIT
#include "output/types.h"

namespace mh {

std::vector<Camera> Cameras;

} // namespace mh
