// An estimate of the memory that a scene will take.
// SPDX-License-Identifier: MIT
#include "scene_memory.h"

#include "accel/tree.h"
#include "geometry/state.h"
#include "integrate/density.h"
#include "integrate/output_images.h"
#include "lights/state.h"
#include "output/feature_planes.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/state.h"
#include "run_report.h"
#include "shading/state.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

namespace mh {

namespace {

// Tables, stacks and code that rendering touches: measured on the examples.
constexpr double kBytesOfRender = 4.0 * 1024.0 * 1024.0;

constexpr double kBytesOfPixel = 24.0;        // of an output, kept while a frame changes it
constexpr double kBytesOfSeededPixel = 36.0;  // with its exact sums, of common values
constexpr double kWorkingBytesOfPixel = 16.0; // an image while it is encoded
constexpr double kBytesOfSkyMap = 12582912.0; // with its table of samples
constexpr double kBytesOfDisplaced = 66.0; // of a triangle, its vertices and what smoothing takes

template<typename T>
double bytes_of(const std::vector<T>& values) {
    return static_cast<double>(values.size() * sizeof(T));
}

double output_bytes() {
    if (Cameras.empty()) return 0.0;
    const Camera& camera = Cameras[0];
    const double pixels = std::max(1.0 * camera.width * camera.height, 0.0);
    double count = 0.0;
    ForEachOutput([&](Aov&, Filling) { ++count; });
    const bool sums = RendererSettings.seed >= 0 || is_exact();
    const double of_output = sums ? kBytesOfSeededPixel : kBytesOfPixel;
    return pixels
           * (of_output * count + bytes_of_planes(PlanesNeeded(camera)) + kWorkingBytesOfPixel);
}

std::set<std::string> instanced_objects() {
    std::set<std::string> names;
    for (const Object& object : Objects)
        for (const Instance& instance : object.instances)
            names.insert(instance.object_name);
    return names;
}

// Faces that displacement makes have a cell each.
double cell_bytes(const Object& object, double made) {
    double cells = made;
    for (const Part& part : object.parts)
        cells += static_cast<double>(CellsOf(part));
    return kBytesOfCell * cells;
}

// Triangles that displacement makes of one.
double divisions(const Object& object, std::uint32_t number) {
    const bool named = number < Shaders.size() && Shaders[number].name != "undefined";
    const Shader& shader = Shaders[named ? number : object.default_shader];
    double count = 1.0;
    if (shader.smooth_angle > 0.0f)
        for (const ShaderElement& layer : shader.displacement.vectors)
            count *= std::pow(std::max(layer.level, 1), 2.0);
    return count;
}

// Beyond the faces as they were read.
double displaced_triangles(const Object& object) {
    double count = 0.0;
    for (const Part& part : object.parts) {
        for (const Triangle& face : part.triangles)
            count += divisions(object, face.shader) - 1.0;
        for (const Tetragon& face : part.tetragons)
            if (const double made = divisions(object, face.shader); made > 1.0)
                count += 2.0 * made - 1.0;
    }
    return count;
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

double EstimatedMemory() {
    double bytes = peak_memory_bytes() + kBytesOfRender + output_bytes();
    if (!SkyLight.image.path.empty()) bytes += kBytesOfSkyMap;
    const std::set<std::string> instanced = instanced_objects();
    for (const Object& object : Objects) {
        const double made = displaced_triangles(object);
        bytes += kTreeBytesOfPrimitive * (static_cast<double>(primitive_count(object)) + made)
                 + kBytesOfDisplaced * made;
        // Only the root object has cells, and no instance leads to it.
        if (chooses_gathering() && !instanced.contains(object.name))
            bytes += cell_bytes(object, made);
    }
    return bytes;
}

} // namespace mh
