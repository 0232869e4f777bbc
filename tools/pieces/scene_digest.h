// What tells a scene and the settings of its render apart.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"
#include "pieces/identity.h"

#include <cstdint>
#include <string>

namespace mh {

// Digest of a scene whose files have all been read: their text, geometry, textures and skies.
std::uint64_t SceneDigest(const std::string& directory);

// What changes a picture and may be set by options, without the number of frames and the region.
std::string PictureSettings();

Identity IdentityOf(const Arguments& arguments);

} // namespace mh
