// The blocks of the scene format. Keys stand in the order in which the documentation lists them.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/texture_mesh.h"
#include "geometry/types.h"
#include "output/types.h"
#include "scene/keys.h"

#include <string>
#include <vector>

namespace mh {

// An object while its block is read: images named so far wait for the one of the triangles.
struct ObjectReading {
    Object* object = nullptr;
    TextureMesh mesh;
    // Of the files that follow:
    bool splits_polygons = false;
    bool whole_strands = false;
    float root_radius = 0.0f, tip_radius = 0.0f; // of strands and particles; 0: the file's own
    Mat4 before_fit, placement;                  // the steps up to the last fit, and those below it
    float fit = 0.0f;    // size that the content is brought to; 0: as it comes
    bool placed = false; // a file was read since the last step
};

// The word of an AOV's type, or the name of its per-vertex array; empty for the picture itself.
std::string ChannelName(const Aov& aov);

// The words of types that a camera's AOV takes, or only of those that first hits fill.
std::vector<std::string> ChannelNames(bool of_first_hits);

// An AOV of a type, by one of these words.
Aov AovOfType(const std::string& name);

extern const Block kRenderBlock;        // RendererSettingsRecord
extern const Block kCameraBlock;        // Camera
extern const Block kAovBlock;           // Aov
extern const Block kLinkBlock;          // LightLink
extern const Block kPointLightBlock;    // PointLight
extern const Block kParallelLightBlock; // ParallelLight
extern const Block kSkyLightBlock;      // SkyLightRecord
extern const Block kGeometryLightBlock; // GeometryLightRecord
extern const Block kVolumeShaderBlock;  // Medium
extern const Block kShaderBlock;        // Shader
extern const Block kObjectBlock;        // ObjectReading

} // namespace mh
