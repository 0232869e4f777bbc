// Pictures by the helper program, which reads ordinary files as viewers do.
// SPDX-License-Identifier: MIT
#pragma once

#include "pictures/pixels.h"

#include <string>

namespace mh {

bool HasPictureReader();

// Why there are no pixels, or empty. A layer is looked for in files that have some.
std::string DecodePicture(const std::string& path, const std::string& layer, Pixels& pixels);

} // namespace mh
