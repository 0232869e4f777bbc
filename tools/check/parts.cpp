// Rules on the parts that files and images gave.
// SPDX-License-Identifier: MIT
#include "check/parts.h"

#include "geometry/finalise.h"
#include "geometry/obj_reader.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "geometry/strands.h"
#include "math/at.h"
#include "math/count_text.h"
#include "math/input_file.h"
#include "math/roots.h"
#include "run/estimator.h"
#include "scene_memory.h"
#include "shading/state.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>

namespace mh {

namespace {

struct PartCheck {
    const SceneCheck& scene;
    const PartSource& source;
    const Object& object;
    const Part& part;
    std::vector<const Shader*> shaders; // of its faces
};

const Shader* shader_of(const Object& object, std::uint32_t number) {
    const bool named = number < Shaders.size() && Shaders[number].name != "undefined";
    return &Shaders[named ? number : object.default_shader];
}

template<typename Face>
void mark_shaders(const Object& object, const std::vector<Face>& faces,
                  std::vector<const Shader*>& shaders) {
    std::uint32_t last = kUnresolved;
    for (const Face& face : faces) {
        if (face.shader == last) continue;
        last = face.shader;
        const Shader* shader = shader_of(object, last);
        if (std::find(shaders.begin(), shaders.end(), shader) == shaders.end())
            shaders.push_back(shader);
    }
}

bool any_slot(const SurfaceLayer& layer, bool (*test)(const ShaderElement& slot)) {
    return std::any_of(layer.elements.begin(), layer.elements.end(), test);
}

bool has_image(const ShaderElement& slot) {
    return !slot.image.empty();
}

bool has_image(const Shader& shader) {
    const std::vector<ShaderElement>& moved = shader.displacement.vectors;
    return std::any_of(moved.begin(), moved.end(), [](const auto& s) { return has_image(s); })
           || std::any_of(shader.layers.begin(), shader.layers.end(),
                          [](const SurfaceLayer& layer) { return any_slot(layer, has_image); });
}

bool needs_tangents(const SurfaceLayer& layer) {
    const auto slot = [&](Element element) -> const ShaderElement& {
        return at(layer.elements, element);
    };
    return has_image(slot(Element::normal))
           || (max_channel(slot(Element::anisotropy).color) > 0.0f
               && max_channel(slot(Element::glossy).color) > 0.0f);
}

bool needs_tangents(const Shader& shader) {
    return std::any_of(shader.layers.begin(), shader.layers.end(),
                       [](const SurfaceLayer& layer) { return needs_tangents(layer); });
}

// The name of the first shader that the test finds; null without one.
const std::string* find_shader(const PartCheck& check, bool (*test)(const Shader& shader)) {
    for (const Shader* shader : check.shaders)
        if (test(*shader)) return &shader->name;
    return nullptr;
}

// Each rule gives its message, or nothing.

std::string textures_without_uv(const PartCheck& check) {
    const std::vector<Vec2>& values = uvs(check.part);
    const auto at_origin = [](const Vec2& uv) { return uv.x == 0.0f && uv.y == 0.0f; };
    if (!std::all_of(values.begin(), values.end(), at_origin)) return {};
    const std::string* shader = find_shader(check, has_image);
    if (shader == nullptr) return {};
    return "no texture coordinates, which the images of shader " + in_quotes(*shader)
           + " need: one texel covers the whole surface";
}

// Hits below the root have no tangents of their own.
std::string frames_of_instances(const PartCheck& check) {
    if (check.source.object == check.scene.root || is_exact()) return {};
    const std::string* shader = find_shader(check, needs_tangents);
    if (shader == nullptr) return {};
    return "the normal map or anisotropy of shader " + in_quotes(*shader)
           + " keeps its alignment only in the last object without instances: put these faces "
             "there";
}

bool same_place(const Part& part, std::uint32_t a, std::uint32_t b) {
    return part.positions[a] == part.positions[b];
}

std::string strands_not_drawn(const PartCheck& check) {
    const Part& part = check.part;
    const std::size_t drawn = TangentCount(part);
    std::size_t next = 0;
    std::int64_t strands = 0;
    for (const std::uint32_t length : part.strand_lengths) {
        bool loses = false;
        for (const std::size_t end = next + length; next < end; ++next)
            loses = loses
                    || (part.cylinders[next] >= drawn
                        && !same_place(part, part.cylinders[next], part.cylinders[next] + 1));
        strands += loses;
    }
    if (strands == 0) return {};
    return CountText(strands, "strand") + " at the end of " + check.source.file
           + (strands == 1 ? " loses" : " lose") + " segments: strands \"whole\" keeps them";
}

std::string radii_of_zero(const PartCheck& check) {
    const Part& part = check.part;
    if (part.particles.empty() && part.cylinders.empty()) return {};
    const std::vector<float>& values = radii(part);
    if (std::any_of(values.begin(), values.end(), [](float r) { return r > 0.0f; })) return {};
    return "no radius is above 0: nothing is seen";
}

std::string lengths_of_segments(const PartCheck& check) {
    constexpr double kShort = 0.02, kLong = 50.0;
    const Part& part = check.part;
    double sum = 0.0;
    for (const std::uint32_t c : part.cylinders)
        sum += static_cast<double>(length(part.positions[c + 1] - part.positions[c]));
    const double mean = sum / static_cast<double>(std::max<std::size_t>(part.cylinders.size(), 1));
    if (part.cylinders.empty() || sum == 0.0 || (mean >= kShort && mean <= kLong)) return {};
    return "segments are " + std::to_string(mean)
           + " long on average: curves have tangents of length 1, and "
           + (mean < 1.0 ? "bulge; scale the model up" : "look straight; scale the model down");
}

// The longest edges of faces against the steps of floats at their corners.
std::string coarse_positions(const PartCheck& check) {
    constexpr float kSteps = 16.0f; // of an edge; with fewer, faces fold or vanish
    const Part& part = check.part;
    float farthest = 0.0f, longest = 0.0f;
    for (const Triangle& t : part.triangles)
        for (std::size_t i = 0; i < t.vertex.size(); ++i) {
            const Vec3& p = part.positions[t.vertex[i]];
            const Vec3& q = part.positions[t.vertex[(i + 1) % t.vertex.size()]];
            farthest = std::max({farthest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
            longest = std::max(longest, length(p - q));
        }
    if (part.triangles.empty() || longest > kSteps * FLT_EPSILON * farthest) return {};
    return "coordinates up to " + std::to_string(farthest)
           + " leave floats too coarse for faces of " + std::to_string(longest)
           + ": move the model to the origin";
}

bool has_fault_at(const SceneLines& lines, const Place& place) {
    return std::any_of(lines.faults.begin(), lines.faults.end(), [&](const Fault& fault) {
        return fault.place.line == place.line && fault.place.file == place.file;
    });
}

std::string no_geometry(const PartCheck& check) {
    constexpr std::size_t kStart = 65536; // bytes
    if (primitive_count(check.part) > 0) return {};
    if (has_fault_at(check.scene.lines, check.source.place)) return {}; // which says why
    std::string start(kStart, '\0');
    if (const InputFile file = OpenInput(FindGeometryFile(check.source.file)))
        start.resize(std::fread(start.data(), 1, start.size(), file.handle.get()));
    return in_quotes(check.source.file) + " gives no geometry" + ReasonOfNothing(start);
}

std::string points_to_spare(const PartCheck& check) {
    const Part& part = check.part;
    const std::size_t used = part.cylinders.size() + part.strand_lengths.size();
    if (part.cylinders.empty() || part.positions.size() <= used) return {};
    return "points of " + check.source.file + " follow the last strand and are not used: "
           + std::to_string(part.positions.size() - used);
}

std::string untraceable(const PartCheck& check) {
    return UntraceableFault(check.part);
}

struct PartRule {
    Severity severity;
    std::string (*message)(const PartCheck& check);
};

constexpr PartRule kRules[] = {
    {Severity::fault, no_geometry},           {Severity::fault, untraceable},
    {Severity::fault, radii_of_zero},         {Severity::warning, points_to_spare},
    {Severity::note, strands_not_drawn},      {Severity::warning, lengths_of_segments},
    {Severity::warning, textures_without_uv}, {Severity::warning, frames_of_instances},
    {Severity::warning, coarse_positions},
};

void check_part(SceneCheck& check, const PartSource& source) {
    const Object& object = Objects[source.object];
    const Part& part = object.parts[source.part];
    const std::string& shader = Shaders[object.default_shader].name;
    if (!part.cylinders.empty()) check.hair_shaders.insert(shader);
    if (!part.cylinders.empty() || !part.particles.empty()) check.round_shaders.insert(shader);
    PartCheck one = {check, source, object, part, {}};
    mark_shaders(object, part.triangles, one.shaders);
    mark_shaders(object, part.tetragons, one.shaders);
    for (const PartRule& rule : kRules) {
        std::string message = rule.message(one);
        if (!message.empty())
            check.lines.faults.push_back({source.place, std::move(message), {}, rule.severity});
    }
}

} // namespace

void CheckParts(SceneCheck& check) {
    for (const PartSource& source : check.lines.parts)
        check_part(check, source);
}

} // namespace mh
