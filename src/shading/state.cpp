// The state of this folder.
// SPDX-License-Identifier: MIT
#include "shading/state.h"

namespace mh {

ShadingStateRecord ShadingState;
std::vector<std::string> ImageSearchPaths;
std::string ImageHelper;

void ResetShading() {
    ShadingState = {};
}

} // namespace mh
