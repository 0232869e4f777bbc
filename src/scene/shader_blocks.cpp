// Keys of the block "shader" and of its sub-blocks.
// SPDX-License-Identifier: MIT
#include "math/at.h"
#include "scene/blocks.h"
#include "shading/evaluate.h"
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

void set_transfer(ShaderElement& element, const std::string& text) {
    if (text == "srgb") element.srgb = true;
    if (text == "power") element.srgb = false;
}

void set_texels(ShaderElement& element, const std::string& text) {
    if (text == "middle") element.centered = true;
    if (text == "corner") element.centered = false;
}

template<Wrap ShaderElement::*axis>
void set_wrap(ShaderElement& element, const std::string& text) {
    if (text == "repeat") element.*axis = Wrap::repeat;
    if (text == "clamp") element.*axis = Wrap::clamp;
    if (text == "mirror") element.*axis = Wrap::mirror;
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
    return element_of(layer, element);
}

void set_sideness(SurfaceLayer& layer, const std::string& text) {
    if (text == "both") layer.sideness = Sideness::both;
    if (text == "face") layer.sideness = Sideness::face;
    if (text == "back") layer.sideness = Sideness::back;
}

void set_microfacet(SurfaceLayer& layer, const std::string& text) {
    if (text == "ward") layer.microfacet = Microfacet::ward;
    if (text == "ggx") layer.microfacet = Microfacet::ggx;
    if (text == "ggx_separable") layer.microfacet = Microfacet::ggx_separable;
}

void set_diffuse_model(SurfaceLayer& layer, const std::string& text) {
    if (text == "lambert") layer.diffuse_model = DiffuseModel::lambert;
    if (text == "burley") layer.diffuse_model = DiffuseModel::burley;
    if (text == "oren_nayar") layer.diffuse_model = DiffuseModel::oren_nayar;
    if (text == "sheen") layer.diffuse_model = DiffuseModel::sheen;
}

void read_material(Material& material, const std::string& text) {
    if (text == "opaque") material = Material::opaque;
    if (text == "solid") material = Material::solid;
    if (text == "thin") material = Material::thin;
}

void set_material(SurfaceLayer& layer, const std::string& text) {
    read_material(layer.material, text);
}

// Of the layers above and below its line.
void set_materials(Shader& shader, const std::string& text) {
    read_material(shader.layer_material, text);
    for (SurfaceLayer& layer : shader.layers)
        set_material(layer, text);
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
    SurfaceLayer& layer = at(shader.layers, AddSurfaceLayer(shader));
    layer.material = shader.layer_material;
    return layer;
}

constexpr const char* kPixelSamplers[] = {"stochastic", "bilinear", "nearest"};
constexpr const char* kTransfers[] = {"power", "srgb"};
constexpr const char* kTexels[] = {"corner", "middle"};
constexpr const char* kWraps[] = {"repeat", "clamp", "mirror"};
constexpr const char* kMaterials[] = {"opaque", "solid", "thin"};
constexpr const char* kMicrofacets[] = {"ward", "ggx", "ggx_separable"};
constexpr const char* kDiffuseModels[] = {"lambert", "burley", "oren_nayar", "sheen"};
constexpr const char* kSides[] = {"both", "face", "back"};

// Shares of light; a surface that sends out more than it gets never comes to an end.
constexpr Range kReflectance = between(0, 1);
constexpr Range kStretch = inside(-1, 1); // one axis of the lobe has no width at 1

using SlotKeys = KeysOf<ShaderElement>;
using LayerKeys = KeysOf<SurfaceLayer>;
using ShaderKeys = KeysOf<Shader>;

constexpr Key kSamplerKeys[] = {
    one_of(SlotKeys::text<set_pixel_sampler>("pixel_sampler"), kPixelSamplers),
    within(SlotKeys::value<&ShaderElement::gamma>("gamma"), above(0)),
    SlotKeys::value<used_uv_matrix>("uv_matrix"),
    SlotKeys::value<used_color_matrix>("color_matrix"),
    one_of(SlotKeys::text<set_transfer>("transfer"), kTransfers),
    one_of(SlotKeys::text<set_texels>("texels"), kTexels),
    one_of(SlotKeys::text<set_wrap<&ShaderElement::wrap_u>>("wrap_u"), kWraps),
    one_of(SlotKeys::text<set_wrap<&ShaderElement::wrap_v>>("wrap_v"), kWraps),
};
constexpr Block kSamplerBlock = {"sampler", kSamplerKeys};

constexpr Key kSlotKeys[] = {
    SlotKeys::value<&ShaderElement::color>("color"),
    stored(SlotKeys::value<&ShaderElement::fresnel>("fresnel")),
    stored(SlotKeys::value<&ShaderElement::direction>("direction")),
    within(SlotKeys::value<&ShaderElement::level>("level"), at_least(1)),
    with(SlotKeys::text<set_image>("image"), Role::image_file),
    stored(with(SlotKeys::text<set_fresnel_image>("fresnel_image"), Role::image_file)),
    stored(SlotKeys::value<&ShaderElement::uv_set>("uv_set")),
    SlotKeys::sub_block<same_element>("sampler", kSamplerBlock),
};
constexpr Block kSlotBlock = {"slot", kSlotKeys};

template<Element element>
constexpr Key slot_key(const char* name) {
    return LayerKeys::sub_block<slot<element>>(name, kSlotBlock);
}

constexpr Key kSurfaceShaderKeys[] = {
    within(slot_key<Element::emissive>("emissive"), at_least(0)),
    within(slot_key<Element::specular>("specular"), kReflectance),
    within(slot_key<Element::transmissive>("transmissive"), kReflectance),
    within(slot_key<Element::lambertian>("lambertian"), kReflectance),
    within(slot_key<Element::glossy>("glossy"), kReflectance),
    within(slot_key<Element::f0>("f0"), kReflectance),
    one_of(LayerKeys::text<set_microfacet>("microfacet"), kMicrofacets),
    one_of(LayerKeys::text<set_diffuse_model>("diffuse_model"), kDiffuseModels),
    stored(slot_key<Element::shadow_transparency>("shadow_transparency")),
    slot_key<Element::angle>("angle"),
    within(slot_key<Element::ior>("ior"), at_least(1)),
    stored(slot_key<Element::thickness>("thickness")),
    within(slot_key<Element::roughness>("roughness"), between(0, 1)),
    within(slot_key<Element::anisotropy>("anisotropy"), kStretch),
    slot_key<Element::normal>("normal"),
    within(slot_key<Element::diffusion>("diffusion"), at_least(0)),
    within(slot_key<Element::weight>("weight"), at_least(0)),
    within(LayerKeys::value<&SurfaceLayer::azimuthal_width_deg>("azimuthal_width"), at_least(0)),
    within(LayerKeys::value<&SurfaceLayer::cuticle_tilt_deg>("cuticle_tilt"), between(-90, 90)),
    LayerKeys::flag<&SurfaceLayer::window>("window"),
    LayerKeys::flag<&SurfaceLayer::virtual_light>("virtual_light"),
    one_of(LayerKeys::text<set_sideness>("sideness"), kSides),
    one_of(LayerKeys::text<set_material>("material"), kMaterials),
};
constexpr Block kSurfaceShaderBlock = {"surface_shader", kSurfaceShaderKeys};

constexpr Key kGeometryShaderKeys[] = {
    stored(ShaderKeys::sub_block<clip>("clip", kSlotBlock)),
    ShaderKeys::sub_block<next_slot<&GeometryShader::vectors>>("vector", kSlotBlock),
    stored(ShaderKeys::sub_block<next_slot<&GeometryShader::radii>>("radius", kSlotBlock)),
    stored(ShaderKeys::sub_block<next_slot<&GeometryShader::lengths>>("length", kSlotBlock)),
    stored(ShaderKeys::sub_block<next_slot<&GeometryShader::heights>>("height", kSlotBlock)),
    stored(ShaderKeys::value<&Shader::round_corner>("round_corner")),
    within(ShaderKeys::value<&Shader::smooth_angle>("smooth_angle"), between(-1, 180)),
    stored(ShaderKeys::value<displacement<&GeometryShader::reduction>>("reduction")),
    within(ShaderKeys::whole<set_camera_primary>("camera_primary"), between(0, 1)),
    within(ShaderKeys::whole<set_light_primary>("light_primary"), between(0, 1)),
    within(ShaderKeys::whole<set_invisible>("invisible"), between(0, 1)),
    ShaderKeys::flag<&Shader::reverse_winding>("flip_face"),
    stored(
        ShaderKeys::flag<displacement<&GeometryShader::trivial_connection>>("trivial_connection")),
    stored(ShaderKeys::flag<displacement<&GeometryShader::assign_hair_texture_uv>>(
        "assign_hair_texture_uv")),
};
constexpr Block kGeometryShaderBlock = {"geometry_shader", kGeometryShaderKeys};

constexpr Key kShaderKeys[] = {
    stored(ShaderKeys::value<&Shader::opacity>("opacity")),
    with(ShaderKeys::value<&Shader::name>("name"), Role::defines_shader),
    ShaderKeys::sub_block<same_shader>("geometry_shader", kGeometryShaderBlock),
    ShaderKeys::sub_block<&Shader::medium>("volume_shader", kVolumeShaderBlock),
    ShaderKeys::sub_block<next_layer>("surface_shader", kSurfaceShaderBlock),
    one_of(ShaderKeys::text<set_materials>("material"), kMaterials),
};

} // namespace

constexpr Block kShaderBlock = {"shader", kShaderKeys};

} // namespace mh
