// Faults of a scene as a whole.
// SPDX-License-Identifier: MIT
#include "check/scene.h"

#include "check/blocks.h"
#include "check/folders.h"
#include "check/images.h"
#include "check/meshes.h"
#include "check/objects.h"
#include "check/parts.h"
#include "geometry/state.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/memory.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/state.h"
#include "scene/blocks.h"
#include "scene_memory.h"
#include "shading/images.h"
#include "shading/state.h"
#include "spelling.h"

#include <algorithm>
#include <cstdlib>

namespace mh {

namespace {

constexpr double kBytesOfGigabyte = 1024.0 * 1024.0 * 1024.0;
constexpr std::size_t kMostComparisons = 300000; // of names; takes some tenths of a second

void add_scene_fault(SceneCheck& check, const std::string& message) {
    add_fault(check.lines, {check.directory, 0, 0, {}}, message);
}

// Names of the scene's blocks; a second definition is a fault.
std::set<std::string> defined_names(SceneCheck& check, Role role, const std::string& kind) {
    std::set<std::string> names;
    for (const Mention& mention : check.lines.mentions) {
        if (mention.role != role || names.insert(mention.name).second) continue;
        const std::string effect = role == Role::defines_shader ? "this one replaces the first"
                                                                : "instances see only the first";
        add_fault(check.lines, mention.place,
                  kind + ' ' + in_quotes(mention.name) + " is defined twice: " + effect);
    }
    return names;
}

void check_used_names(SceneCheck& check) {
    for (const Mention& mention : check.lines.mentions) {
        if (mention.role == Role::shader_name && !check.shaders.contains(mention.name))
            add_fault(check.lines, mention.place, "no shader is named " + in_quotes(mention.name),
                      NearestOf(check, mention.name, check.shaders));
        if (mention.role == Role::object_name && !check.objects.contains(mention.name))
            add_fault(check.lines, mention.place, "no object is named " + in_quotes(mention.name),
                      NearestOf(check, mention.name, check.objects));
    }
}

// The first camera's own picture is there without being named.
void check_outputs(SceneCheck& check) {
    std::set<std::string> names = {"beauty.hdr"};
    for (const Mention& mention : check.lines.mentions) {
        if (mention.role != Role::output_file) continue;
        if (!CanWriteAs(mention.name))
            add_fault(check.lines, mention.place,
                      in_quotes(mention.name)
                          + " has no extension of an image format that can be written");
        if (!names.insert(mention.name).second)
            add_fault(check.lines, mention.place,
                      "another output is named " + in_quotes(mention.name) + " too");
    }
}

std::set<std::string> vertex_arrays() {
    std::set<std::string> names = {"radius", "uv"};
    for (const Object& object : Objects)
        for (const Part& part : object.parts) {
            if (!part.cylinders.empty())
                names.insert("parameter"); // made when strands are finished
            for (const auto& array : part.scalar_arrays)
                names.insert(array.name);
            for (const auto& array : part.vec2_arrays)
                names.insert(array.name);
            for (const auto& array : part.vec3_arrays)
                names.insert(array.name);
        }
    return names;
}

void check_channels(SceneCheck& check) {
    std::set<std::string> legal = vertex_arrays();
    for (const Key& key : kAovBlock.keys)
        for (const char* choice : key.choices)
            legal.insert(choice);
    for (const Mention& mention : check.lines.mentions)
        if (mention.role == Role::channel && !legal.contains(mention.name))
            add_fault(check.lines, mention.place,
                      in_quotes(mention.name)
                          + " is not a channel, and no geometry has such an array",
                      NearestOf(check, mention.name, legal));
}

bool any_emission() {
    for (const Shader& shader : Shaders)
        for (const SurfaceLayer& layer : shader.layers)
            if (max_channel(at(layer.elements, Element::emissive).color) > 0.0f) return true;
    return false;
}

void check_lights(SceneCheck& check) {
    if (PointLights.empty() && ParallelLights.empty() && !any_emission()
        && !(max_channel(SkyLight.color) > 0.0f))
        add_scene_fault(check, "no light: the sky is black, and nothing else emits");
}

bool has_wide_pixels(const std::string& path) {
    constexpr int kWide = 16;
    return at(Textures, FindOrAddImage(path)).bits == kWide;
}

bool counts(const SceneCheck& check, const Doubt& doubt) {
    switch (doubt.rule->when) {
    case When::always: return true;
    case When::gathering: return chooses_gathering();
    case When::lamps_sampled:
        return GeometryLight.sample > 0 && !check.round_shaders.contains(doubt.subject);
    case When::lamps_unsampled: return GeometryLight.sample < 1 && GeometryLight.photons > 0;
    case When::on_surfaces: return !check.hair_shaders.contains(doubt.subject);
    case When::wide_pixels: return has_wide_pixels(doubt.subject);
    }
    std::abort();
}

void settle_doubts(SceneCheck& check) {
    for (const Doubt& doubt : check.lines.doubts)
        if (counts(check, doubt))
            check.lines.faults.push_back(
                {doubt.place, doubt.rule->message, {}, doubt.rule->severity});
}

void check_content(SceneCheck& check) {
    if (!check.lines.reads_files)
        add_scene_fault(check, "no .mh file in shader, render, light, camera or geometry");
    if (Cameras.empty()) add_scene_fault(check, "no camera");
    std::int64_t primitives = 0;
    for (const Object& object : Objects)
        primitives += primitive_count(object);
    if (Objects.empty())
        add_scene_fault(check, "no object");
    else if (primitives == 0)
        add_scene_fault(check, "no object holds geometry");
}

void check_memory(SceneCheck& check) {
    const double needed = EstimatedMemory(), present = MachineMemory();
    if (needed <= present) return;
    add_scene_fault(check, "needs about " + std::to_string(needed / kBytesOfGigabyte)
                               + " GB of memory; the machine has "
                               + std::to_string(present / kBytesOfGigabyte));
}

} // namespace

std::string NearestOf(SceneCheck& check, const std::string& name,
                      const std::set<std::string>& names) {
    check.comparisons += names.size();
    if (check.comparisons > kMostComparisons) return {};
    const std::vector<std::string_view> legal(names.begin(), names.end());
    return NearestWord(name, legal);
}

void CheckReadScene(const std::string& directory, SceneLines& lines, CapturedReport& report) {
    report.take_messages();
    SceneCheck check = {directory, lines, report, {}, {}, {}, {}};
    check.shaders = defined_names(check, Role::defines_shader, "shader");
    check.shaders.insert("undefined");
    check.objects = defined_names(check, Role::defines_object, "object");
    CheckFolders(check);
    check_used_names(check);
    CheckImages(check);
    check_outputs(check);
    check_channels(check);
    check_content(check);
    check_lights(check);
    CheckObjects(check);
    CheckParts(check);
    CheckMeshes(check);
    settle_doubts(check);
    check_memory(check);
}

} // namespace mh
