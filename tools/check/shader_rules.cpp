// Rules on shaders, their layers and slots.
// SPDX-License-Identifier: MIT
#include "check/block_rules.h"
#include "shading/evaluate.h"

#include <algorithm>
#include <vector>

namespace mh {

namespace {

bool is_displacement(const ClosedBlock& closed) {
    return closed.block.opener != nullptr
           && closed.block.opener->name == std::string_view("vector");
}

bool image_times_black(const ClosedBlock& closed) {
    const auto& slot = record_of<ShaderElement>(closed);
    return !slot.image.empty() && is_dark(slot.color) && !is_displacement(closed);
}

bool texture_on_its_head(const ClosedBlock& closed) {
    return ends_with(record_of<ShaderElement>(closed).image, {".hdr"});
}

bool is_bright(const ClosedBlock& closed) {
    constexpr float kBright = 0.05f; // far above 1 / 257
    const auto& slot = record_of<ShaderElement>(closed);
    return !slot.image.empty() && (is_displacement(closed) || max_channel(slot.color) > kBright);
}

bool level_without_use(const ClosedBlock& closed) {
    return gives(closed, "level") && !is_displacement(closed);
}

bool samples_no_image(const ClosedBlock& closed) {
    return gives(closed, "sampler") && record_of<ShaderElement>(closed).image.empty();
}

bool loses_weight(const float (&last_row)[3]) {
    return last_row[0] == 0.0f && last_row[1] == 0.0f && last_row[2] == 0.0f;
}

bool divides_by_nothing(const ClosedBlock& closed) {
    const auto& slot = record_of<ShaderElement>(closed);
    const float(&last)[4] = slot.color_matrix.m[3];
    return loses_weight(slot.uv_matrix.m[2])
           || (last[0] == 0.0f && last[1] == 0.0f && last[2] == 0.0f && last[3] == 0.0f);
}

// Layers.

bool shows(const ClosedBlock& closed, Element element) {
    return !is_dark(element_of(record_of<SurfaceLayer>(closed), element).color);
}

bool has_index_of_air(const ClosedBlock& closed) {
    const ShaderElement& ior = element_of(record_of<SurfaceLayer>(closed), Element::ior);
    return ior.image.empty() && ior.color == Vec3{1.0f, 1.0f, 1.0f};
}

bool specular_of_air(const ClosedBlock& closed) {
    return shows(closed, Element::specular) && has_index_of_air(closed)
           && record_of<SurfaceLayer>(closed).material == Material::opaque;
}

bool has_facets(const ClosedBlock& closed) {
    return record_of<SurfaceLayer>(closed).microfacet != Microfacet::ward;
}

bool is_lambertian(const ClosedBlock& closed) {
    return record_of<SurfaceLayer>(closed).diffuse_model == DiffuseModel::lambert;
}

bool glossy_of_air(const ClosedBlock& closed) {
    return shows(closed, Element::glossy) && has_index_of_air(closed)
           && !(has_facets(closed) && shows(closed, Element::f0));
}

bool f0_without_facets(const ClosedBlock& closed) {
    return shows(closed, Element::f0)
           && (!has_facets(closed) || !shows(closed, Element::glossy)
               || record_of<SurfaceLayer>(closed).material == Material::solid);
}

bool glossy_and_smooth(const ClosedBlock& closed) {
    return shows(closed, Element::glossy) && !shows(closed, Element::roughness);
}

bool rough_without_gloss(const ClosedBlock& closed) {
    return shows(closed, Element::roughness) && !shows(closed, Element::glossy)
           && is_lambertian(closed);
}

bool stretch_without_width(const ClosedBlock& closed) {
    return shows(closed, Element::anisotropy)
           && !(shows(closed, Element::glossy) && shows(closed, Element::roughness));
}

bool has_normal_map(const ClosedBlock& closed) {
    return !element_of(record_of<SurfaceLayer>(closed), Element::normal).image.empty();
}

bool turns_nothing(const ClosedBlock& closed) {
    return shows(closed, Element::angle) && !shows(closed, Element::anisotropy)
           && !has_normal_map(closed);
}

bool normal_without_map(const ClosedBlock& closed) {
    return gives(closed, "normal") && !has_normal_map(closed);
}

bool gives_more_than_it_gets(const ClosedBlock& closed) {
    constexpr float kRounding = 1e-4f;
    const auto& layer = record_of<SurfaceLayer>(closed);
    const Vec3& back = element_of(layer, Element::lambertian).color;
    const Vec3& through = element_of(layer, Element::transmissive).color;
    return max_channel(through) > 0.0f && max_channel(back) <= 1.0f && max_channel(through) <= 1.0f
           && max_channel(back + through) > 1.0f + kRounding;
}

bool window_hides_emission(const ClosedBlock& closed) {
    return record_of<SurfaceLayer>(closed).window && shows(closed, Element::emissive);
}

bool emits_uncounted(const ClosedBlock& closed) {
    return shows(closed, Element::emissive) && !record_of<SurfaceLayer>(closed).virtual_light;
}

bool emits_counted(const ClosedBlock& closed) {
    return shows(closed, Element::emissive) && record_of<SurfaceLayer>(closed).virtual_light;
}

bool counts_no_emission(const ClosedBlock& closed) {
    return !shows(closed, Element::emissive) && record_of<SurfaceLayer>(closed).virtual_light;
}

// Shaders.

std::vector<const SurfaceLayer*> layers_of(const ClosedBlock& closed, Sideness side) {
    std::vector<const SurfaceLayer*> layers;
    for (const SurfaceLayer& layer : record_of<Shader>(closed).layers)
        if (layer.sideness == side || layer.sideness == Sideness::both) layers.push_back(&layer);
    return layers;
}

bool shares_without_weight(const ClosedBlock& closed, Sideness side) {
    const std::vector<const SurfaceLayer*> layers = layers_of(closed, side);
    return layers.size() > 1
           && std::any_of(layers.begin(), layers.end(), [](const SurfaceLayer* layer) {
                  return is_dark(element_of(*layer, Element::weight).color);
              });
}

bool layers_without_weight(const ClosedBlock& closed) {
    return shares_without_weight(closed, Sideness::face)
           || shares_without_weight(closed, Sideness::back);
}

bool too_many_layers(const ClosedBlock& closed) {
    const std::size_t most = LayerList().index.size();
    return layers_of(closed, Sideness::face).size() > most
           || layers_of(closed, Sideness::back).size() > most;
}

bool has_no_layer(const ClosedBlock& closed) {
    const auto& shader = record_of<Shader>(closed);
    return shader.layers.empty() && shader.visibility != Visibility::hidden;
}

bool has_no_name(const ClosedBlock& closed) {
    return !gives(closed, "name");
}

bool fills_no_solid(const ClosedBlock& closed) {
    const auto& shader = record_of<Shader>(closed);
    return shader.medium.transmittance != Vec3{1.0f, 1.0f, 1.0f}
           && std::none_of(
               shader.layers.begin(), shader.layers.end(),
               [](const SurfaceLayer& layer) { return layer.material == Material::solid; });
}

bool displaces_without_normals(const ClosedBlock& closed) {
    const auto& shader = record_of<Shader>(closed);
    return !shader.displacement.vectors.empty() && !(shader.smooth_angle > 0.0f);
}

bool hides_twice(const ClosedBlock& closed) {
    return gives(closed, "invisible") + gives(closed, "camera_primary")
               + gives(closed, "light_primary")
           > 1;
}

constexpr BlockRule kRules[] = {
    {"slot", "image", Severity::warning, When::always, image_times_black,
     "the image multiplies \"color\", which is 0: nothing of it is seen"},
    {"slot", "image", Severity::warning, When::always, texture_on_its_head,
     "an .hdr texture appears upside down"},
    {"slot", "image", Severity::warning, When::wide_pixels, is_bright,
     "16-bit images read as 0 to 257: \"color\" 0.0039 brings them to 0 to 1"},
    {"slot", "level", Severity::warning, When::always, level_without_use,
     "\"level\" has an effect only in displacement"},
    {"slot", "sampler", Severity::warning, When::always, samples_no_image,
     "\"sampler\" without \"image\" has no effect"},
    {"sampler", "uv_matrix", Severity::warning, When::always, divides_by_nothing,
     "coordinates are divided by the last row of the matrix, which is 0"},
    {"surface_shader", "specular", Severity::warning, When::on_surfaces, specular_of_air,
     "\"specular\" without \"ior\": at 1 nothing is reflected"},
    {"surface_shader", "glossy", Severity::warning, When::on_surfaces, glossy_of_air,
     "\"glossy\" without \"ior\": at 1 nothing is reflected"},
    {"surface_shader", "glossy", Severity::warning, When::always, glossy_and_smooth,
     "\"glossy\" without \"roughness\": the lobe is as narrow as possible"},
    {"surface_shader", "f0", Severity::warning, When::always, f0_without_facets,
     "\"f0\" affects only \"glossy\" with \"microfacet\", and not that of solids"},
    {"surface_shader", "roughness", Severity::warning, When::always, rough_without_gloss,
     "\"roughness\" affects only \"glossy\""},
    {"surface_shader", "anisotropy", Severity::warning, When::always, stretch_without_width,
     "\"anisotropy\" affects only \"glossy\" with \"roughness\""},
    {"surface_shader", "angle", Severity::warning, When::always, turns_nothing,
     "\"angle\" has an effect only with \"anisotropy\" or a map in \"normal\""},
    {"surface_shader", "normal", Severity::warning, When::always, normal_without_map,
     "\"normal\" without \"image\" has no effect"},
    {"surface_shader", "transmissive", Severity::warning, When::always, gives_more_than_it_gets,
     "\"lambertian\" and \"transmissive\" add up to more than 1: more light leaves than arrives"},
    {"surface_shader", "emissive", Severity::warning, When::always, window_hides_emission,
     "\"window\" shows the sky in place of \"emissive\""},
    {"surface_shader", "virtual_light", Severity::warning, When::always, counts_no_emission,
     "\"virtual_light\" on a layer that emits nothing"},
    {"surface_shader", "virtual_light", Severity::warning, When::lamps_unsampled, emits_counted,
     "\"virtual_light 1\" while \"geometry_light\" casts photons and takes no samples: light "
     "through glass counts twice"},
    {"surface_shader", nullptr, Severity::warning, When::lamps_sampled, emits_uncounted,
     "emissive layer without \"virtual_light 1\", while \"geometry_light\" is sampled: bounces and "
     "samples both count its light in full"},
    {"shader", nullptr, Severity::warning, When::always, layers_without_weight,
     "several layers on one side, but not all have a \"weight\": those without one are never seen"},
    {"shader", nullptr, Severity::warning, When::always, too_many_layers,
     "a side has at most 16 layers: the others are never seen"},
    {"shader", nullptr, Severity::warning, When::always, has_no_layer,
     "\"shader\" without \"surface_shader\": it is black"},
    {"shader", nullptr, Severity::note, When::always, has_no_name,
     "without \"name\" it replaces the grey of objects that name no shader"},
    {"shader", "volume_shader", Severity::warning, When::on_surfaces, fills_no_solid,
     "\"volume_shader\" fills solids and hair, but no layer makes this a solid"},
    {"geometry_shader", "vector", Severity::warning, When::always, displaces_without_normals,
     "missing vertex normals for displacement mapping: \"smooth_angle\" has to be above 0"},
    {"geometry_shader", "invisible", Severity::warning, When::always, hides_twice,
     "\"invisible\", \"camera_primary\" and \"light_primary\" write one value: the last that takes "
     "effect wins"},
};

} // namespace

const std::span<const BlockRule> kShaderRules = kRules;

} // namespace mh
