// Binary hair files and text files of strands.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

#include <string>

namespace mh {

// Fills positions, uvs, radii, cylinders and strand lengths of a fresh part. After a failure the
// part stays empty and one line of the report names the reason and the file.
void ReadHair(Part& part, const std::string& path);

// The same from lines "segment N" and "position x y z"; a file that cannot be opened is empty.
void ReadFur(Part& part, const std::string& path);

} // namespace mh
