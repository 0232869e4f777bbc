// The global tables of this folder.
// SPDX-License-Identifier: MIT
#include "lights/types.h"

namespace mh {

std::vector<PointLight> PointLights;
std::vector<ParallelLight> ParallelLights;
SkyLightRecord SkyLight;
GeometryLightRecord GeometryLight;

} // namespace mh
