// The blocks of the scene format. Keys stand in the order in which the documentation lists them.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/texture_mesh.h"
#include "geometry/types.h"
#include "scene/keys.h"

namespace mh {

// An object while its block is read: images named so far wait for the one of the triangles.
struct ObjectReading {
    Object* object = nullptr;
    TextureMesh mesh;
};

extern const Block RenderBlock;        // RendererSettingsRecord
extern const Block CameraBlock;        // Camera
extern const Block AovBlock;           // Aov
extern const Block LinkBlock;          // LightLink
extern const Block PointLightBlock;    // PointLight
extern const Block ParallelLightBlock; // ParallelLight
extern const Block SkyLightBlock;      // SkyLightRecord
extern const Block GeometryLightBlock; // GeometryLightRecord
extern const Block VolumeShaderBlock;  // Medium
extern const Block ShaderBlock;        // Shader
extern const Block ObjectBlock;        // ObjectReading

} // namespace mh
