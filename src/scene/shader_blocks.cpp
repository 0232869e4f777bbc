// Keys of the block "shader" and of its sub-blocks.
// SPDX-License-Identifier: MIT
#include "scene/blocks.h"
#include "shading/images.h"
#include "shading/shaders.h"
#include "shading/types.h"

namespace mh {

namespace {

// Paths enter the image table at their first mention, so that the texture phase loads them.
void set_image(ShaderElement& element, const std::string& path) {
    element.image = path;
    FindOrAddImage(path);
}

void set_fresnel_image(ShaderElement& element, const std::string& path) {
    element.fresnel_image = path;
    FindOrAddImage(path);
}

ShaderElement& same_element(ShaderElement& element) {
    return element;
}

void set_pixel_sampler(ShaderElement& element, const std::string& text) {
    if (text == "stochastic") element.pixel_sampler = PixelSampler::stochastic;
    if (text == "bilinear") element.pixel_sampler = PixelSampler::bilinear;
    if (text == "nearest") element.pixel_sampler = PixelSampler::nearest;
}

Mat3& used_uv_matrix(ShaderElement& element) {
    element.uv_matrix_identity = false;
    return element.uv_matrix;
}

Mat4& used_color_matrix(ShaderElement& element) {
    element.color_matrix_identity = false;
    return element.color_matrix;
}

template<Element element>
ShaderElement& slot(SurfaceLayer& layer) {
    return layer.elements[static_cast<std::size_t>(element)];
}

void set_sideness(SurfaceLayer& layer, const std::string& text) {
    if (text == "both") layer.sideness = Sideness::both;
    if (text == "face") layer.sideness = Sideness::face;
    if (text == "back") layer.sideness = Sideness::back;
}

Shader& same_shader(Shader& shader) {
    return shader;
}

ShaderElement& clip(Shader& shader) {
    return shader.displacement.clip;
}

template<std::vector<ShaderElement> GeometryShader::*list>
ShaderElement& next_slot(Shader& shader) {
    return (shader.displacement.*list).emplace_back();
}

template<auto member>
auto& displacement(Shader& shader) {
    return shader.displacement.*member;
}

void set_camera_primary(Shader& shader, std::int64_t value) {
    if (value != 1) shader.visibility = Visibility::light_only;
}

void set_light_primary(Shader& shader, std::int64_t value) {
    if (value != 1) shader.visibility = Visibility::camera_only;
}

void set_invisible(Shader& shader, std::int64_t value) {
    if (value == 1) shader.visibility = Visibility::hidden;
}

SurfaceLayer& next_layer(Shader& shader) {
    return shader.layers[static_cast<std::size_t>(AddSurfaceLayer(shader))];
}

constexpr const char* kPixelSamplers[] = {"stochastic", "bilinear", "nearest"};
constexpr const char* kSides[] = {"both", "face", "back"};

using SlotKeys = KeysOf<ShaderElement>;
using LayerKeys = KeysOf<SurfaceLayer>;
using ShaderKeys = KeysOf<Shader>;

constexpr Key kSamplerKeys[] = {
    one_of(SlotKeys::text<set_pixel_sampler>("pixel_sampler"), kPixelSamplers),
    SlotKeys::value<&ShaderElement::gamma>("gamma"),
    SlotKeys::value<used_uv_matrix>("uv_matrix"),
    SlotKeys::value<used_color_matrix>("color_matrix"),
};
constexpr Block kSamplerBlock = {"sampler", kSamplerKeys};

constexpr Key kSlotKeys[] = {
    SlotKeys::value<&ShaderElement::color>("color"),
    SlotKeys::value<&ShaderElement::fresnel>("fresnel"),
    SlotKeys::value<&ShaderElement::direction>("direction"),
    SlotKeys::value<&ShaderElement::level>("level"),
    with(SlotKeys::text<set_image>("image"), Role::image_file),
    with(SlotKeys::text<set_fresnel_image>("fresnel_image"), Role::image_file),
    SlotKeys::value<&ShaderElement::uv_set>("uv_set"),
    SlotKeys::sub_block<same_element>("sampler", kSamplerBlock),
};
constexpr Block kSlotBlock = {"slot", kSlotKeys};

template<Element element>
constexpr Key slot_key(const char* name) {
    return LayerKeys::sub_block<slot<element>>(name, kSlotBlock);
}

constexpr Key kSurfaceShaderKeys[] = {
    slot_key<Element::emissive>("emissive"),
    slot_key<Element::specular>("specular"),
    slot_key<Element::transmissive>("transmissive"),
    slot_key<Element::lambertian>("lambertian"),
    slot_key<Element::glossy>("glossy"),
    slot_key<Element::shadow_transparency>("shadow_transparency"),
    slot_key<Element::angle>("angle"),
    slot_key<Element::ior>("ior"),
    slot_key<Element::thickness>("thickness"),
    slot_key<Element::roughness>("roughness"),
    slot_key<Element::anisotropy>("anisotropy"),
    slot_key<Element::normal>("normal"),
    slot_key<Element::diffusion>("diffusion"),
    slot_key<Element::weight>("weight"),
    LayerKeys::flag<&SurfaceLayer::window>("window"),
    LayerKeys::flag<&SurfaceLayer::virtual_light>("virtual_light"),
    one_of(LayerKeys::text<set_sideness>("sideness"), kSides),
};
constexpr Block kSurfaceShaderBlock = {"surface_shader", kSurfaceShaderKeys};

constexpr Key kGeometryShaderKeys[] = {
    ShaderKeys::sub_block<clip>("clip", kSlotBlock),
    ShaderKeys::sub_block<next_slot<&GeometryShader::vectors>>("vector", kSlotBlock),
    ShaderKeys::sub_block<next_slot<&GeometryShader::radii>>("radius", kSlotBlock),
    ShaderKeys::sub_block<next_slot<&GeometryShader::lengths>>("length", kSlotBlock),
    ShaderKeys::sub_block<next_slot<&GeometryShader::heights>>("height", kSlotBlock),
    ShaderKeys::value<&Shader::round_corner>("round_corner"),
    ShaderKeys::value<&Shader::smooth_angle>("smooth_angle"),
    ShaderKeys::value<displacement<&GeometryShader::reduction>>("reduction"),
    ShaderKeys::whole<set_camera_primary>("camera_primary"),
    ShaderKeys::whole<set_light_primary>("light_primary"),
    ShaderKeys::whole<set_invisible>("invisible"),
    ShaderKeys::flag<&Shader::reverse_winding>("flip_face"),
    ShaderKeys::flag<displacement<&GeometryShader::trivial_connection>>("trivial_connection"),
    ShaderKeys::flag<displacement<&GeometryShader::assign_hair_texture_uv>>(
        "assign_hair_texture_uv"),
};
constexpr Block kGeometryShaderBlock = {"geometry_shader", kGeometryShaderKeys};

constexpr Key kShaderKeys[] = {
    ShaderKeys::value<&Shader::opacity>("opacity"),
    with(ShaderKeys::value<&Shader::name>("name"), Role::defines_shader),
    ShaderKeys::sub_block<same_shader>("geometry_shader", kGeometryShaderBlock),
    ShaderKeys::sub_block<&Shader::medium>("volume_shader", kVolumeShaderBlock),
    ShaderKeys::sub_block<next_layer>("surface_shader", kSurfaceShaderBlock),
};

} // namespace

constexpr Block kShaderBlock = {"shader", kShaderKeys};

} // namespace mh
