// The state of this folder.
// SPDX-License-Identifier: MIT
#include "geometry/state.h"

namespace mh {

GeometryStateRecord GeometryState;
std::vector<std::string> GeometrySearchPaths;

void ResetGeometry() {
    GeometryState = {};
}

} // namespace mh
