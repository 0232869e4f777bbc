// The global tables of this folder.
// SPDX-License-Identifier: MIT
#include "geometry/types.h"

namespace mh {

std::vector<Object> Objects;
std::vector<std::string> GeometrySearchPaths;
std::int64_t SmoothingTimeMs = 0, DisplacementTimeMs = 0;

} // namespace mh
