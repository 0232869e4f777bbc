// Faults of a scene as a whole.
// SPDX-License-Identifier: MIT
#include "check_scene.h"

#include "atomic_file.h"
#include "geometry/objects.h"
#include "lights/types.h"
#include "math/memory.h"
#include "output/image_writer.h"
#include "output/types.h"
#include "run/types.h"
#include "scene/blocks.h"
#include "scene/line_reader.h"
#include "scene_memory.h"
#include "shading/images.h"
#include "spelling.h"

#include <algorithm>
#include <map>
#include <set>

namespace mh {

namespace {

constexpr double kBytesOfGigabyte = 1024.0 * 1024.0 * 1024.0;
constexpr std::size_t kMostComparisons = 300000; // of names; takes some tenths of a second

struct Checking {
    std::string directory;
    SceneLines& lines;
    CapturedReport& report;
    std::set<std::string> shaders, objects;
    std::size_t comparisons = 0; // of unknown names with known ones, so far
};

void add_fault(Checking& check, const Place& place, const std::string& message,
               const std::string& suggestion = {}) {
    check.lines.faults.push_back({place, message, suggestion});
}

void add_scene_fault(Checking& check, const std::string& message) {
    add_fault(check, {check.directory, 0, 0, {}}, message);
}

// Among thousands of unknown names and thousands of known ones, the later ones get no suggestion.
std::string nearest_of(Checking& check, const std::string& name,
                       const std::set<std::string>& names) {
    check.comparisons += names.size();
    if (check.comparisons > kMostComparisons) return {};
    const std::vector<std::string_view> legal(names.begin(), names.end());
    return NearestWord(name, legal);
}

// Names of the scene's blocks; a second definition is a fault.
std::set<std::string> defined_names(Checking& check, Role role, const std::string& kind) {
    std::set<std::string> names;
    for (const Mention& mention : check.lines.mentions) {
        if (mention.role != role || names.insert(mention.name).second) continue;
        const std::string effect = role == Role::defines_shader ? "this one replaces the first"
                                                                : "instances see the first alone";
        add_fault(check, mention.place,
                  kind + ' ' + in_quotes(mention.name) + " is defined twice: " + effect);
    }
    return names;
}

void check_used_names(Checking& check) {
    for (const Mention& mention : check.lines.mentions) {
        if (mention.role == Role::shader_name && !check.shaders.contains(mention.name))
            add_fault(check, mention.place, "no shader is named " + in_quotes(mention.name),
                      nearest_of(check, mention.name, check.shaders));
        if (mention.role == Role::object_name && !check.objects.contains(mention.name))
            add_fault(check, mention.place, "no object is named " + in_quotes(mention.name),
                      nearest_of(check, mention.name, check.objects));
    }
}

// Materials of a mesh that no shader defines, each once.
void check_materials(Checking& check, const std::string& path) {
    SceneText text;
    if (!ReadWholeFile(path, text.content)) return;
    std::set<std::string> told;
    int number = 0;
    for (std::size_t start = 0; start < text.content.size(); ++number) {
        const std::size_t end = std::min(text.content.find('\n', start), text.content.size());
        const std::string_view line(text.content.data() + start, end - start);
        start = end + 1;
        std::string_view rest = line, word;
        if (!take_word(rest, word) || word != "usemtl" || !take_word(rest, word)) continue;
        const std::string name(word);
        if (check.shaders.contains(name) || name == "undefined" || !told.insert(name).second)
            continue;
        add_fault(
            check,
            {path, number + 1, static_cast<int>(word.data() - line.data()) + 1, std::string(line)},
            "no shader is named " + in_quotes(name), nearest_of(check, name, check.shaders));
    }
}

void check_meshes(Checking& check) {
    std::set<std::string> done;
    for (const Mention& mention : check.lines.mentions) {
        if (mention.key != "obj") continue;
        const std::string path = FindGeometryFile(mention.name);
        if (done.insert(path).second) check_materials(check, path);
    }
}

// Reads each image once; returns the sum of their sizes.
double check_images(Checking& check) {
    double bytes = 0.0;
    std::map<std::string, std::vector<std::string>> told;
    for (const Mention& mention : check.lines.mentions) {
        if (mention.role != Role::image_file) continue;
        if (!told.contains(mention.name)) {
            Image image;
            image.path = mention.name;
            LoadImage(image);
            bytes += static_cast<double>(size_bytes(image));
            told[mention.name] = check.report.take_messages();
            if (image.failed)
                told[mention.name] = {"file " + in_quotes(mention.name)
                                      + " is not found; looked for in "
                                      + FoldersText(ImageSearchPaths)};
        }
        for (const std::string& message : told[mention.name])
            add_fault(check, mention.place, message);
    }
    return bytes;
}

// The first camera's own picture is there without being named.
void check_outputs(Checking& check) {
    std::set<std::string> names = {"beauty.hdr"};
    for (const Mention& mention : check.lines.mentions) {
        if (mention.role != Role::output_file) continue;
        if (!CanWriteAs(mention.name))
            add_fault(check, mention.place,
                      in_quotes(mention.name)
                          + " has no extension of an image format that is written");
        if (!names.insert(mention.name).second)
            add_fault(check, mention.place,
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

void check_channels(Checking& check) {
    std::set<std::string> legal = vertex_arrays();
    for (const Key& key : kAovBlock.keys)
        for (const char* choice : key.choices)
            legal.insert(choice);
    for (const Mention& mention : check.lines.mentions)
        if (mention.role == Role::channel && !legal.contains(mention.name))
            add_fault(check, mention.place,
                      in_quotes(mention.name) + " is no channel, and no geometry has such an array",
                      nearest_of(check, mention.name, legal));
}

bool gathers_photons() {
    return RendererSettings.distance > 0.0f && RendererSettings.resolution > 0.0f;
}

bool any_emission() {
    for (const Shader& shader : Shaders)
        for (const SurfaceLayer& layer : shader.layers)
            if (max_channel(layer.elements[static_cast<std::size_t>(Element::emissive)].color)
                > 0.0f)
                return true;
    return false;
}

void check_lights(Checking& check) {
    const bool emission = any_emission();
    if (PointLights.empty() && ParallelLights.empty() && !emission
        && !(max_channel(SkyLight.color) > 0.0f))
        add_scene_fault(check, "no light: the sky is black, and nothing else shines");
    for (const Doubt& doubt : check.lines.doubts) {
        if (doubt.concern == Concern::emits_without_virtual_light && GeometryLight.sample > 0)
            add_fault(check, doubt.place,
                      "emissive layer without \"virtual_light 1\", while \"geometry_light\" is "
                      "sampled: bounces and samples both count its light in full");
        if (doubt.concern == Concern::no_photons && gathers_photons()
            && (doubt.block != "geometry_light" || emission))
            add_fault(check, doubt.place,
                      in_quotes(doubt.block)
                          + " sends no photons, and gathering lives on them: set \"photon\"");
    }
}

std::vector<std::size_t> objects_without_instances(const SceneLines& lines) {
    std::set<std::string> instanced;
    for (const Mention& mention : lines.mentions)
        if (mention.role == Role::object_name) instanced.insert(mention.name);
    std::vector<std::size_t> roots;
    for (std::size_t i = 0; i < Objects.size(); ++i)
        if (!instanced.contains(Objects[i].name) || Objects[i].name.empty()) roots.push_back(i);
    return roots;
}

bool share_face_numbers(const Object& a, const Object& b) {
    const auto has = [](const Object& object, const auto& faces) {
        return std::any_of(object.parts.begin(), object.parts.end(),
                           [&](const Part& part) { return !(part.*faces).empty(); });
    };
    return (has(a, &Part::triangles) && has(b, &Part::triangles))
           || (has(a, &Part::tetragons) && has(b, &Part::tetragons));
}

// A ray ignores all faces of the number of that which it left. Cells for photons lie on the faces
// of the last object that nothing instances, and only there.
void check_roots(Checking& check) {
    if (check.lines.object_places.size() != Objects.size()) return;
    const std::vector<std::size_t> roots = objects_without_instances(check.lines);
    for (std::size_t i = 0; i + 1 < roots.size(); ++i) {
        const Object& object = Objects[roots[i]];
        const Place& place = check.lines.object_places[roots[i]];
        if (share_face_numbers(object, Objects[roots[i + 1]]))
            add_fault(check, place,
                      "rays that leave a face of this object miss the face of the same number in "
                      "the next one, and the reverse: put them into one object");
        if (gathers_photons() && primitive_count(object) > 0)
            add_fault(check, place,
                      "faces of this object hold no photons, as another object without instances "
                      "follows: put them into one object, or set \"distance 0\"");
    }
}

void check_content(Checking& check) {
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

void check_memory(Checking& check, double image_bytes) {
    const double needed = EstimatedMemory(image_bytes), present = MachineMemory();
    if (needed <= present) return;
    add_scene_fault(check, "needs about " + std::to_string(needed / kBytesOfGigabyte)
                               + " GB of memory; the machine has "
                               + std::to_string(present / kBytesOfGigabyte));
}

} // namespace

void CheckReadScene(const std::string& directory, SceneLines& lines, CapturedReport& report) {
    report.take_messages();
    Checking check = {directory, lines, report, {}, {}, 0};
    check.shaders = defined_names(check, Role::defines_shader, "shader");
    check.objects = defined_names(check, Role::defines_object, "object");
    check_used_names(check);
    check_meshes(check);
    const double image_bytes = check_images(check);
    check_outputs(check);
    check_channels(check);
    check_content(check);
    check_lights(check);
    check_roots(check);
    check_memory(check, image_bytes);
}

} // namespace mh
