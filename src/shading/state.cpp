// The global tables of this folder.
// SPDX-License-Identifier: MIT
#include "shading/types.h"

namespace mh {

std::vector<Shader> Shaders;
std::vector<Image> Textures;
std::vector<std::string> ImageSearchPaths;

} // namespace mh
