// Emission and virtual light lists of an object: its faces by area, its instances by the sum of
// their target. Called by the scene assembly, from the deepest object up.
// SPDX-License-Identifier: MIT
#include "accel/light_lists.h"

#include "math/faces.h"
#include "shading/types.h"

namespace mh {

namespace {

void append_face(Object& object, LightPrimitive face, std::uint32_t shader_index) {
    if (shader_index >= Shaders.size()) return;
    const Shader& shader = Shaders[shader_index];
    for (const bool front : {true, false}) {
        face.front = front;
        if ((front ? shader.face : shader.back).emissive) object.emission_list.push_back(face);
    }
    for (const bool front : {true, false}) {
        face.front = front;
        if ((front ? shader.face : shader.back).virtual_light)
            object.virtual_light_list.push_back(face);
    }
}

void append_part(Object& object, std::uint32_t index) {
    const Part& part = object.parts[index];
    const auto at = [&part](std::uint32_t vertex) { return part.positions[vertex]; };
    for (std::size_t i = 0; i < part.triangles.size(); ++i) {
        const auto& [v, shader] = part.triangles[i];
        const float area = triangle_area(at(v[0]), at(v[1]), at(v[2]));
        append_face(object,
                    {index, PrimitiveKind::triangle, static_cast<std::uint32_t>(i), true, area},
                    shader);
    }
    for (std::size_t i = 0; i < part.tetragons.size(); ++i) {
        const auto& [v, shader] = part.tetragons[i];
        const float area = tetragon_area(at(v[0]), at(v[1]), at(v[2]), at(v[3]));
        append_face(object,
                    {index, PrimitiveKind::tetragon, static_cast<std::uint32_t>(i), true, area},
                    shader);
    }
}

void append_instance(Object& object, std::uint32_t index) {
    if (!object.instances[index].usable) return;
    const Object& target = Objects[object.instances[index].object];
    LightPrimitive instance = {0, PrimitiveKind::instance, index, true, target.emission_weight};
    object.emission_list.push_back(instance);
    instance.weight = target.virtual_light_weight;
    object.virtual_light_list.push_back(instance);
}

// Returns the sum of the weights, which a float could not sum over millions of faces.
float make_distribution(DiscreteSampler& table, const std::vector<LightPrimitive>& list) {
    const auto size = static_cast<std::int32_t>(list.size());
    CreateSampler(table, size);
    for (std::int32_t i = 0; i < size; ++i)
        set_weight(table, i, list[static_cast<std::size_t>(i)].weight);
    FinishSampler(table);
    return static_cast<float>(table.total);
}

} // namespace

void MakeLightLists(Object& object) {
    object.emission_list.clear();
    object.virtual_light_list.clear();
    for (std::size_t i = 0; i < object.parts.size(); ++i)
        append_part(object, static_cast<std::uint32_t>(i));
    for (std::size_t i = 0; i < object.instances.size(); ++i)
        append_instance(object, static_cast<std::uint32_t>(i));
    object.emission_weight = make_distribution(object.emission_distribution, object.emission_list);
    object.virtual_light_weight =
        make_distribution(object.virtual_light_distribution, object.virtual_light_list);
}

} // namespace mh
