// Emission and virtual light lists of an object: its faces by area, its instances by the sum of
// their target. Called by the scene assembly, from the deepest object up.
// SPDX-License-Identifier: MIT
#include "accel/light_lists.h"

#include "accel/state.h"
#include "math/at.h"
#include "math/faces.h"
#include "shading/state.h"

namespace mh {

namespace {

void append_face(LightLists& lists, LightPrimitive face, std::uint32_t shader_index) {
    if (shader_index >= Shaders.size()) return;
    const Shader& shader = Shaders[shader_index];
    for (const bool front : {true, false}) {
        face.front = front;
        if (side_of(shader, front).emissive) lists.emission_list.push_back(face);
    }
    for (const bool front : {true, false}) {
        face.front = front;
        if (side_of(shader, front).virtual_light) lists.virtual_light_list.push_back(face);
    }
}

void append_part(const Object& object, LightLists& lists, std::uint32_t index) {
    const Part& part = object.parts[index];
    const auto at = [&part](std::uint32_t vertex) { return part.positions[vertex]; };
    for (std::size_t i = 0; i < part.triangles.size(); ++i) {
        const auto& [v, shader] = part.triangles[i];
        const float area = triangle_area(at(v[0]), at(v[1]), at(v[2]));
        append_face(lists,
                    {index, PrimitiveKind::triangle, static_cast<std::uint32_t>(i), true, area},
                    shader);
    }
    for (std::size_t i = 0; i < part.tetragons.size(); ++i) {
        const auto& [v, shader] = part.tetragons[i];
        const float area = tetragon_area(at(v[0]), at(v[1]), at(v[2]), at(v[3]));
        append_face(lists,
                    {index, PrimitiveKind::tetragon, static_cast<std::uint32_t>(i), true, area},
                    shader);
    }
}

void append_instance(const Object& object, LightLists& lists, std::uint32_t index) {
    if (!object.instances[index].usable) return;
    const LightLists& target = LightListsOfObjects[object.instances[index].object];
    LightPrimitive instance = {0, PrimitiveKind::instance, index, true, target.emission_weight};
    lists.emission_list.push_back(instance);
    instance.weight = target.virtual_light_weight;
    lists.virtual_light_list.push_back(instance);
}

// Returns the sum of the weights, which a float could not sum over millions of faces.
float make_distribution(DiscreteSampler& table, const std::vector<LightPrimitive>& list) {
    const auto size = static_cast<std::int32_t>(list.size());
    CreateSampler(table, size);
    for (std::int32_t i = 0; i < size; ++i)
        set_weight(table, i, at(list, i).weight);
    FinishSampler(table);
    return static_cast<float>(table.total);
}

} // namespace

void MakeLightLists(const Object& object, LightLists& lists) {
    lists = {};
    for (std::size_t i = 0; i < object.parts.size(); ++i)
        append_part(object, lists, static_cast<std::uint32_t>(i));
    for (std::size_t i = 0; i < object.instances.size(); ++i)
        append_instance(object, lists, static_cast<std::uint32_t>(i));
    lists.emission_weight = make_distribution(lists.emission_distribution, lists.emission_list);
    lists.virtual_light_weight =
        make_distribution(lists.virtual_light_distribution, lists.virtual_light_list);
}

} // namespace mh
