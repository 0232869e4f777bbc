// The tables of shaders and images.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/name_index.h"
#include "shading/types.h"

namespace mh {

struct ShadingStateRecord {
    std::vector<Shader> shaders; // element 0 is "undefined" once started
    std::vector<Image> textures; // the image table, in order of first mention
    NameIndex shader_names, texture_paths;
};

[[gnu::visibility("hidden")]] extern ShadingStateRecord ShadingState;

inline constexpr auto& Shaders = ShadingState.shaders;
inline constexpr auto& Textures = ShadingState.textures;

// At the end of a scene.
void ResetShading();

// Folders of images, in the order in which they are tried; kept from scene to scene.
extern std::vector<std::string> ImageSearchPaths;

// The program that decodes images; kept from scene to scene. Empty, except in tests: the one
// installed with this library.
extern std::string ImageHelper;

} // namespace mh
