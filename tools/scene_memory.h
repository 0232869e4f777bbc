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

// Geometry as read, its trees and cells, the outputs; images are given.
double EstimatedMemory(double image_bytes);

} // namespace mh
