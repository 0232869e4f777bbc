// A room lit by many small lamps of mixed power behind pillars, as a scene directory.
// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>

namespace mh::bench {

// Writes it: 200 triangles that emit, whose powers span a factor of 128, and eight pillars. One
// gather ray and one light sample a frame at 64 frames.
void WriteLampRoom(const std::filesystem::path& scene);

} // namespace mh::bench
