// An estimate of the memory that a scene will take.
// SPDX-License-Identifier: MIT
#include "scene_memory.h"

#include "accel/tree.h"
#include "geometry/state.h"
#include "integrate/output_images.h"
#include "output/state.h"
#include "run/state.h"

#include <algorithm>

namespace mh {

namespace {

// At least one cell of two colours to a face, when photons are gathered.
constexpr double kCellBytesOfPrimitive = 24.0 + 16.0;

constexpr double kBytesOfPixel = 24.0; // with those of the last whole frame

template<typename T>
double bytes_of(const std::vector<T>& values) {
    return static_cast<double>(values.size() * sizeof(T));
}

double output_bytes() {
    const double pixels =
        Cameras.empty() ? 0.0 : static_cast<double>(Cameras[0].width) * Cameras[0].height;
    double count = 0.0;
    ForEachOutput([&](Aov&, Filling) { ++count; });
    return std::max(pixels, 0.0) * kBytesOfPixel * count;
}

} // namespace

std::int64_t primitive_count(const Part& part) {
    return static_cast<std::int64_t>(part.particles.size() + part.cylinders.size()
                                     + part.triangles.size() + part.tetragons.size());
}

std::int64_t primitive_count(const Object& object) {
    std::int64_t count = 0;
    for (const Part& part : object.parts)
        count += primitive_count(part);
    return count;
}

double size_bytes(const Part& part) {
    double bytes = bytes_of(part.particles) + bytes_of(part.cylinders) + bytes_of(part.triangles)
                   + bytes_of(part.tetragons) + bytes_of(part.positions) + bytes_of(part.normals)
                   + bytes_of(part.tangents);
    for (const auto& array : part.vec3_arrays)
        bytes += bytes_of(array.values);
    for (const auto& array : part.vec2_arrays)
        bytes += bytes_of(array.values);
    for (const auto& array : part.scalar_arrays)
        bytes += bytes_of(array.values);
    return bytes;
}

double EstimatedMemory(double image_bytes) {
    const bool gathers = RendererSettings.distance > 0.0f && RendererSettings.resolution > 0.0f;
    const double of_primitive = kTreeBytesOfPrimitive + (gathers ? kCellBytesOfPrimitive : 0.0);
    double bytes = image_bytes + output_bytes();
    for (const Object& object : Objects) {
        bytes += of_primitive * static_cast<double>(primitive_count(object));
        for (const Part& part : object.parts)
            bytes += size_bytes(part);
    }
    return bytes;
}

} // namespace mh
