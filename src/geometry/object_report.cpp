// Statistics of an object whose tree stands.
// SPDX-License-Identifier: MIT
#include "geometry/finalise.h"
#include "run/report.h"

namespace mh {

namespace {

struct Counts {
    std::size_t positions = 0, uvs = 0, scalars = 0, normals = 0, tangents = 0;
    std::size_t particles = 0, cylinders = 0, triangles = 0, tetragons = 0;
};

template<typename T>
std::size_t entries(const std::vector<VertexArray<T>>& arrays) {
    std::size_t count = 0;
    for (const VertexArray<T>& array : arrays)
        count += array.values.size();
    return count;
}

Counts count(const Object& object) {
    Counts counts;
    for (const Part& part : object.parts) {
        counts.positions += part.positions.size() + entries(part.vec3_arrays);
        counts.uvs += entries(part.vec2_arrays);
        counts.scalars += entries(part.scalar_arrays);
        counts.normals += part.normals.size();
        counts.tangents += part.tangents.size();
        counts.particles += part.particles.size();
        counts.cylinders += part.cylinders.size();
        counts.triangles += part.triangles.size();
        counts.tetragons += part.tetragons.size();
    }
    return counts;
}

void report_count(const char* name, std::size_t items, std::size_t item_size) {
    ReportCount(name, static_cast<std::int64_t>(items), static_cast<double>(items * item_size));
}

} // namespace

void ReportObject(const Object& object) {
    const Counts counts = count(object);
    report_count("positions", counts.positions, sizeof(Vec3));
    report_count("uv coords", counts.uvs, sizeof(Vec2));
    report_count("scalars  ", counts.scalars, sizeof(float));
    report_count("normals  ", counts.normals, sizeof(PackedUnit));
    report_count("tangents ", counts.tangents, sizeof(PackedUnit));
    ReportRule();
    report_count("particles", counts.particles, sizeof(std::uint32_t));
    report_count("cylinders", counts.cylinders, sizeof(std::uint32_t));
    report_count("triangles", counts.triangles, sizeof(Triangle));
    report_count("tetragons", counts.tetragons, sizeof(Tetragon));
    report_count("instances", object.instances.size(), sizeof(Instance));
    ReportRule();
    ReportLine("bbox size  ", object.box.max - object.box.min, "m");
    ReportLine("bbox min   ", object.box.min, "n/a");
    ReportLine("bbox max   ", object.box.max, "n/a");
    ReportLine("bbox center", center(object.box), "n/a");
    ReportRule();
}

} // namespace mh
