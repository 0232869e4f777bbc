// The image table, the loader, texel reads and filtered look-ups.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"
#include "shading/types.h"

#include <cstdint>
#include <string>

namespace mh {

// Index in Textures of the entry with this path, appended when there is none; -1 for an empty path.
int FindOrAddImage(const std::string& path);

// How colours of three floats are held: textures as 4 bytes, images that are measured, and those
// that hold geometry, as they are.
enum class FloatStorage { rgbe, floats };

// Finds the file through ImageSearchPaths and reads it. True when the image has pixels afterwards
// or had them before; a missing file or one that cannot be read gets one error line.
bool LoadImage(Image& image, FloatStorage storage = FloatStorage::rgbe);

// Sets the format and sizes the one array it calls for, filled with 0. Nothing happens unless all
// four numbers are above 0.
void AllocateImage(Image& image, int width, int height, int channels, int bits, bool rgbe);

// Texel by linear index; channels 2 and anything without pixels is black.
Vec3 read_texel(const Image& image, std::int64_t index);

void set_texel(Image& image, std::int64_t index, const Vec3& value);

// Linear index of column x, row y after wrapping; the image has pixels.
std::int64_t texel_index(const Image& image, int x, int y, Wrap wrap_u, Wrap wrap_v);

// Filtered, gamma-corrected and colour-transformed look-up at uv by the element's settings. Black
// in an image without pixels and at coordinates that are not finite.
Vec3 sample_texture(const Image& image, const Vec2& uv, const ShaderElement& element);

// Mean per channel; variance: mean square of each texel's largest channel minus squared mean. No
// part of a render asks for them.
void image_statistics(const Image& image, Vec3& mean, Vec3& variance);

std::int64_t size_bytes(const Image& image);

// Phase 2: loads every entry of the table and reports.
void InitializeTextures();

} // namespace mh
