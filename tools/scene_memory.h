// An estimate of the memory that a scene will take.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

#include <cstdint>

namespace mh {

std::int64_t primitive_count(const Part& part);
std::int64_t primitive_count(const Object& object);

// As the part holds it after reading.
double size_bytes(const Part& part);

// What the process has taken to read the scene and its images, and what trees, displaced faces,
// cells, outputs and the map of the sky will take.
double EstimatedMemory();

} // namespace mh
