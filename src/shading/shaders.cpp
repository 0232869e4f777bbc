// The shader table and the finish of shaders: phase 3, started by the lifecycle, and the look-ups
// by name of the scene readers.
// SPDX-License-Identifier: MIT
#include "shading/shaders.h"

#include "math/at.h"
#include "math/constants.h"
#include "math/name_index.h"
#include "run/report.h"
#include "shading/evaluate.h"
#include "shading/images.h"
#include "shading/media.h"
#include "shading/state.h"

#include <algorithm>

namespace mh {

namespace {

constexpr const char* kUndefined = "undefined";

void add_layer_of(Shader& shader, Sideness sideness) {
    const int layer = AddSurfaceLayer(shader);
    at(shader.layers, layer).sideness = sideness;
}

bool has_layer_of(const Shader& shader, Sideness side) {
    return std::any_of(shader.layers.begin(), shader.layers.end(), [side](const SurfaceLayer& l) {
        return l.sideness == side || l.sideness == Sideness::both;
    });
}

// Both sides show something: black where the shader says nothing.
void add_missing_sides(Shader& shader) {
    if (shader.layers.empty()) add_layer_of(shader, Sideness::both);
    for (const Sideness side : {Sideness::face, Sideness::back})
        if (!has_layer_of(shader, side)) add_layer_of(shader, side);
}

LayerList list_of(const Shader& shader, Sideness side) {
    constexpr std::size_t kIndices = 256; // of a byte
    LayerList list;
    for (std::size_t i = 0; i < std::min(shader.layers.size(), kIndices); ++i) {
        const Sideness sideness = shader.layers[i].sideness;
        if (sideness != side && sideness != Sideness::both) continue;
        if (to_size(list.count) == list.index.size()) break;
        at(list.index, list.count++) = static_cast<std::uint8_t>(i);
    }
    return list;
}

// Index of the image, or -1 when the path is empty or no file was found. A file without pixels
// keeps its index and shows black.
std::int32_t image_of(const std::string& path) {
    const int index = FindOrAddImage(path);
    if (index < 0) return -1;
    Image& image = at(Textures, index);
    LoadImage(image);
    return image.loaded ? index : -1;
}

void resolve_images(ShaderElement& element) {
    element.image_index = image_of(element.image);
    element.fresnel_image_index = image_of(element.fresnel_image);
}

void resolve_images(std::vector<ShaderElement>& elements) {
    for (ShaderElement& element : elements)
        resolve_images(element);
}

void finish_displacement(GeometryShader& displacement) {
    resolve_images(displacement.clip);
    resolve_images(displacement.vectors);
    resolve_images(displacement.radii);
    resolve_images(displacement.lengths);
    resolve_images(displacement.heights);
}

bool visible(const SurfaceLayer& layer, Element element) {
    return any_above(element_of(layer, element).color, kNothing);
}

void copy_slots(const SurfaceLayer& layer, CompiledLayer& compiled) {
    for (std::size_t i = 0; i < layer.elements.size(); ++i)
        if (layer.elements[i].image_index >= 0)
            compiled.textured = static_cast<std::uint16_t>(compiled.textured | 1u << i);
    compiled.has_image = compiled.textured != 0;
    if (compiled.has_image || compiled.has_models)
        compiled.elements = {layer.elements.begin(), layer.elements.end()};
    for (std::size_t i = 0; i < compiled.colors.size(); ++i)
        compiled.colors[i] = layer.elements[i].color;
    for (std::size_t i = 0; i < compiled.levels.size(); ++i)
        compiled.levels[i] = mean(layer.elements[kFirstLevel + i].color);
}

CompiledLayer compile_layer(const SurfaceLayer& layer) {
    CompiledLayer compiled;
    const bool is_rough = layer.diffuse_model != DiffuseModel::lambert;
    compiled.has_models = is_rough || layer.microfacet != Microfacet::ward;
    copy_slots(layer, compiled);
    compiled.material = layer.material;
    compiled.microfacet = layer.microfacet;
    compiled.diffuse_model = layer.diffuse_model;
    compiled.virtual_light = layer.virtual_light;
    compiled.window = layer.window;
    compiled.emits = layer.window || !(element_of(layer, Element::emissive).color == Vec3{});
    compiled.lambertian_present = visible(layer, Element::lambertian);
    compiled.transmissive_present = visible(layer, Element::transmissive);
    compiled.glossy_present = visible(layer, Element::glossy);
    compiled.specular_present = visible(layer, Element::specular);
    compiled.diffusion_present = visible(layer, Element::diffusion);
    compiled.has_reflective = compiled.specular_present || compiled.glossy_present;
    compiled.plain_diffuse = !compiled.has_image && !compiled.has_reflective;
    compiled.has_normal_map = element_of(layer, Element::normal).image_index >= 0;
    compiled.has_roughness =
        (compiled.glossy_present || is_rough) && visible(layer, Element::roughness);
    compiled.has_anisotropy = compiled.has_roughness && visible(layer, Element::anisotropy);
    const ShaderElement& ior = element_of(layer, Element::ior);
    compiled.has_fresnel = ior.image_index >= 0 || mean(ior.color) != 1.0f;
    compiled.needs_tangents = compiled.has_normal_map || compiled.has_anisotropy;
    compiled.has_angle = compiled.needs_tangents && visible(layer, Element::angle);
    return compiled;
}

// Without images, which may lift a colour of 0.
bool is_dark(const CompiledLayer& layer) {
    return !layer.has_image && !layer.emits && !layer.specular_present;
}

SideFlags flags_of(const Shader& shader, const LayerList& list) {
    SideFlags flags;
    flags.dark = true;
    for (int i = 0; i < list.count; ++i) {
        const std::uint8_t index = at(list.index, i);
        const CompiledLayer& layer = shader.compiled_layers[index];
        flags.dark = flags.dark && is_dark(layer);
        flags.virtual_light = flags.virtual_light || layer.virtual_light;
        flags.emissive = flags.emissive || visible(shader.layers[index], Element::emissive);
        flags.lambertian = flags.lambertian || layer.lambertian_present;
        flags.transmissive = flags.transmissive || layer.transmissive_present;
    }
    return flags;
}

} // namespace

SurfaceLayer default_surface_layer() {
    SurfaceLayer layer;
    for (const Element element : {Element::normal, Element::ior, Element::reserved_13})
        element_of(layer, element).color = {1.0f, 1.0f, 1.0f};
    return layer;
}

int AddShader() {
    Shaders.emplace_back();
    return static_cast<int>(Shaders.size()) - 1;
}

int AddSurfaceLayer(Shader& shader) {
    shader.layers.push_back(default_surface_layer());
    return static_cast<int>(shader.layers.size()) - 1;
}

void RenameShader(Shader& shader, const std::string& name) {
    shader.name = name;
    ShadingState.shader_names = {};
}

int FindNamedShader(const std::string& name) {
    return FindName(ShadingState.shader_names, Shaders, &Shader::name, name);
}

int FindShader(const std::string& name) {
    return std::max(FindNamedShader(name), 0);
}

int FindOrAddShader(const std::string& name) {
    const int found = FindNamedShader(name);
    if (found >= 0) return found;
    const int index = AddShader();
    Shaders.back().name = name;
    return index;
}

void CreateUndefinedShader() {
    constexpr Vec3 kGrey = {0.85f, 0.85f, 0.85f};
    const int index = FindOrAddShader(kUndefined);
    Shader& shader = at(Shaders, index);
    shader = {};
    AddSurfaceLayer(shader);
    element_of(shader.layers[0], Element::lambertian).color = kGrey;
}

void FinishShader(Shader& shader) {
    if (shader.initialised) return;
    shader.initialised = true;
    add_missing_sides(shader);
    shader.face_layers = list_of(shader, Sideness::face);
    shader.back_layers = list_of(shader, Sideness::back);
    finish_displacement(shader.displacement);
    FinishMedium(shader.medium);
    shader.has_image = false;
    shader.compiled_layers.clear();
    for (SurfaceLayer& layer : shader.layers) {
        for (ShaderElement& element : layer.elements)
            resolve_images(element);
        shader.compiled_layers.push_back(compile_layer(layer));
        shader.has_image = shader.has_image || shader.compiled_layers.back().has_image;
    }
    shader.face = flags_of(shader, shader.face_layers);
    shader.back = flags_of(shader, shader.back_layers);
}

void InitializeShaders() {
    const int undefined = FindNamedShader(kUndefined);
    if (undefined >= 0) FinishShader(at(Shaders, undefined));
    for (Shader& shader : Shaders)
        FinishShader(shader);
    ReportCount("shaders ", static_cast<std::int64_t>(Shaders.size()),
                static_cast<double>(Shaders.size() * sizeof(Shader)));
    ReportRule();
}

void FinalizeShaders() {
    Shaders = {};
    ShadingState.shader_names = {};
}

} // namespace mh
