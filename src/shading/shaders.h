// The shader table: creation, look-up by name and the finish that derives flags and layer lists.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

#include <string>

namespace mh {

// Slots with their default colours: 1 for normal, ior and slot 13, otherwise 0.
SurfaceLayer default_surface_layer();

// Appends a default shader named "undefined"; returns its index.
int AddShader();

// Appends a default layer; returns its index within the shader.
int AddSurfaceLayer(Shader& shader);

// The one way to rename a shader of the table: look-ups see it from then on.
void RenameShader(Shader& shader, const std::string& name);

// Index of the first shader of that name, byte for byte; -1 when there is none.
int FindNamedShader(const std::string& name);

// The same, but 0 ("undefined") when there is none.
int FindShader(const std::string& name);

// The same as well, but appends a default shader of that name when there is none.
int FindOrAddShader(const std::string& name);

// Puts a grey, lambertian shader "undefined" at the start of the table: what objects without a
// shader show. At startup.
void CreateUndefinedShader();

// Derives everything that rendering reads: layers for sides without one, layer lists, medium,
// image indices of the slots, flags. Does nothing the second time.
void FinishShader(Shader& shader);

// Phase 3: finishes "undefined" first, then all others, and reports.
void InitializeShaders();

void FinalizeShaders();

} // namespace mh
