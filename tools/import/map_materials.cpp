// Materials to shaders of several layers; the formulas stand in docs/materials.md.
// SPDX-License-Identifier: MIT
#include "import/map_scene.h"
#include "math/at.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

constexpr float kMirror = 0.03f; // a lobe of less roughness is a mirror
constexpr float kPerfect = 1e6f; // index that reflects all light
constexpr float kSheen = 0.25f;  // share of the layer that is nothing but sheen
constexpr float kLeast = 0.001f; // a reflectance below which the index would replace it

struct Shading {
    const ImportedScene& scene;
    const ImportedMaterial& material;
    MappedScene& mapped;
    std::string name;
    std::vector<std::string>& pictures; // path of each picture of the scene that is in use
    Names& files;
    std::string text = {};
};

const ImportedMap& map_of(const ImportedMaterial& material, MapKind kind) {
    return at(material.maps, kind);
}

bool has_map(const Shading& s, MapKind kind) {
    return map_of(s.material, kind).image >= 0;
}

Vec3 limited(const Vec3& v) {
    return {std::clamp(v.x, 0.0f, 1.0f), std::clamp(v.y, 0.0f, 1.0f), std::clamp(v.z, 0.0f, 1.0f)};
}

float unit(float x) {
    return std::clamp(x, 0.0f, 1.0f);
}

float sound_ior(const ImportedMaterial& m) {
    return std::clamp(m.ior, 1.0f, 10.0f);
}

std::string file_name(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == path.npos ? path : path.substr(slash + 1);
}

// The file of a picture below image/; it is copied there once.
std::string picture(Shading& s, std::int32_t image) {
    std::string& path = at(s.pictures, image);
    if (!path.empty()) return path;
    path = UniqueName(s.files, file_name(at(s.scene.images, image).name), "image");
    s.mapped.pictures.push_back({"image/" + path, image, {}, false});
    return path;
}

std::string made_picture(Shading& s, const char* use, std::vector<GreyTerm> terms) {
    const std::string path = UniqueName(s.files, s.name + '_' + use + ".png", "image.png");
    s.mapped.pictures.push_back({"image/" + path, -1, std::move(terms), false});
    return path;
}

void line(Shading& s, int indent, const std::string& text) {
    s.text += std::string(to_size(4 * indent), ' ') + text + '\n';
}

constexpr const char* kWraps[] = {"repeat", "clamp", "mirror"};

void sampler_of_place(Shading& s, const ImportedMap& map) {
    line(s, 4, "texels \"middle\"");
    if (map.wrap_u != WrapMode::repeat)
        line(s, 4, std::string("wrap_u \"") + at(kWraps, map.wrap_u) + '"');
    if (map.wrap_v != WrapMode::repeat)
        line(s, 4, std::string("wrap_v \"") + at(kWraps, map.wrap_v) + '"');
    const auto& m = map.uv_matrix;
    if (m == ImportedMap().uv_matrix) return;
    line(s, 4,
         "uv_matrix " + NumberText(Vec3{m[0], m[1], m[2]}) + "   "
             + NumberText(Vec3{m[3], m[4], m[5]}) + "   0 0 1");
}

void slot(Shading& s, const char* slot_name, const Vec3& color) {
    line(s, 2, slot_name);
    line(s, 3, "color " + NumberText(color));
    line(s, 2, "end");
}

void grey_slot(Shading& s, const char* slot_name, float value) {
    slot(s, slot_name, {value, value, value});
}

void image_slot(Shading& s, const char* slot_name, const Vec3& color, const ImportedMap& map,
                const std::string& path, const std::vector<std::string>& sampler) {
    line(s, 2, slot_name);
    line(s, 3, "color " + NumberText(color));
    line(s, 3, "image \"" + path + '"');
    line(s, 3, "sampler");
    for (const std::string& setting : sampler)
        line(s, 4, setting);
    sampler_of_place(s, map);
    line(s, 3, "end");
    line(s, 2, "end");
}

std::vector<std::string> color_sampler(const ImportedMap& map) {
    return map.linear ? std::vector<std::string>{} : std::vector<std::string>{"transfer \"srgb\""};
}

void color_slot(Shading& s, const char* slot_name, const Vec3& color, MapKind kind) {
    const ImportedMap& map = map_of(s.material, kind);
    if (map.image < 0) return slot(s, slot_name, color);
    image_slot(s, slot_name, color, map, picture(s, map.image), color_sampler(map));
}

// Weights of layers: a number, or pictures to multiply it by.
struct Weight {
    float factor = 1.0f;
    std::vector<GreyTerm> terms;
};

struct Weights {
    Weight dielectric, sheen, metal, glass, hole;
};

void multiply(Weight& weight, float value, const GreyTerm& term) {
    if (term.image >= 0)
        weight.terms.push_back(term);
    else
        weight.factor *= term.reversed ? 1.0f - value : value;
}

GreyTerm term_of(const ImportedMap& map, std::uint32_t channel, float factor) {
    GreyTerm term;
    term.image = map.image;
    term.channel = channel;
    term.scale = factor;
    return term;
}

GreyTerm reversed(GreyTerm term) {
    term.reversed = !term.reversed;
    return term;
}

// Metal in the blue channel of packed pictures, in the red one of others.
GreyTerm metal_term(const Shading& s) {
    const ImportedMap& packed = map_of(s.material, MapKind::metallic_roughness);
    const float factor = unit(s.material.metallic);
    return packed.image >= 0 ? term_of(packed, 2, factor)
                             : term_of(map_of(s.material, MapKind::metallic), 0, factor);
}

// The map of roughness, in the green channel of packed pictures.
const ImportedMap& roughness_map(const Shading& s) {
    const bool packed = has_map(s, MapKind::metallic_roughness);
    return map_of(s.material, packed ? MapKind::metallic_roughness : MapKind::roughness);
}

bool is_mirror(const Shading& s) {
    const bool textured = roughness_map(s).image >= 0;
    return s.material.roughness < kMirror || (textured && s.material.roughness <= 0.0f);
}

GreyTerm alpha_term(const Shading& s) {
    const ImportedMaterial& m = s.material;
    GreyTerm term;
    if (m.alpha_mode == AlphaMode::opaque) return term;
    const ImportedMap& opacity = map_of(m, MapKind::opacity);
    term = opacity.image >= 0 ? term_of(opacity, 0, unit(m.alpha))
                              : term_of(map_of(m, MapKind::base), 3, unit(m.alpha));
    if (m.alpha_mode == AlphaMode::mask) term.threshold = std::max(0.0f, m.alpha_cutoff);
    return term;
}

float alpha_value(const ImportedMaterial& m) {
    if (m.alpha_mode == AlphaMode::opaque) return 1.0f;
    if (m.alpha_mode == AlphaMode::blend) return unit(m.alpha);
    return m.alpha >= m.alpha_cutoff ? 1.0f : 0.0f;
}

bool glows(const ImportedMaterial& m) {
    return max_channel(m.emission) > 0.0f;
}

float sheen_share(const Shading& s) {
    return max_channel(s.material.sheen) > 0.0f ? kSheen : 0.0f;
}

Weights weights_of(const Shading& s) {
    const ImportedMaterial& m = s.material;
    const GreyTerm alpha = alpha_term(s), metal = metal_term(s);
    const GreyTerm glass = term_of(map_of(m, MapKind::transmission), 0, unit(m.transmission));
    const float a = alpha_value(m), metallic = unit(m.metallic), clear = unit(m.transmission);
    Weights w;
    for (Weight* weight : {&w.dielectric, &w.sheen, &w.metal, &w.glass})
        multiply(*weight, a, alpha);
    multiply(w.hole, a, reversed(alpha));
    multiply(w.metal, metallic, metal);
    for (Weight* weight : {&w.dielectric, &w.sheen, &w.glass})
        multiply(*weight, metallic, reversed(metal));
    multiply(w.glass, clear, glass);
    for (Weight* weight : {&w.dielectric, &w.sheen})
        multiply(*weight, clear, reversed(glass));
    w.sheen.factor *= sheen_share(s);
    w.dielectric.factor *= 1.0f - sheen_share(s);
    return w;
}

bool is_used(const Weight& weight) {
    return weight.factor > 0.0f;
}

void weight_slot(Shading& s, const char* use, const Weight& weight, bool alone) {
    if (alone) return;
    if (weight.terms.empty()) return grey_slot(s, "weight", weight.factor);
    const ImportedMap& map = map_of(s.material, [&] {
        for (std::size_t kind = 0; kind < kMapKinds; ++kind)
            if (s.material.maps[kind].image == weight.terms[0].image)
                return static_cast<MapKind>(kind);
        return MapKind::base;
    }());
    const Vec3 factor = {weight.factor, weight.factor, weight.factor};
    image_slot(s, "weight", factor, map, made_picture(s, use, weight.terms), {});
}

// The width of the facets' slopes, the roughness squared.
void roughness_slot(Shading& s) {
    const ImportedMaterial& m = s.material;
    const float squared = unit(m.roughness) * unit(m.roughness);
    const bool packed = has_map(s, MapKind::metallic_roughness);
    const ImportedMap& map = roughness_map(s);
    if (map.image < 0) return grey_slot(s, "roughness", squared);
    const std::string row = packed ? "0 1 0 0   " : "1 0 0 0   ";
    image_slot(s, "roughness", {squared, squared, squared}, map, picture(s, map.image),
               {"gamma 2", "color_matrix " + row + row + row + "0 0 0 1"});
}

void normal_slot(Shading& s) {
    const ImportedMap& map = map_of(s.material, MapKind::normal);
    const float scale = s.material.normal_scale;
    if (map.image >= 0)
        return image_slot(s, "normal", {scale, scale, 1.0f}, map, picture(s, map.image), {});
    const ImportedMap& heights = map_of(s.material, MapKind::height);
    if (heights.image < 0) return;
    const std::string path = made_picture(s, "normals", {term_of(heights, 0, 1.0f)});
    s.mapped.pictures.back().normals_of_height = true;
    image_slot(s, "normal", {1.0f, 1.0f, 1.0f}, heights, path, {});
}

void emission_slot(Shading& s) {
    if (!glows(s.material)) return;
    color_slot(s, "emissive", s.material.emission, MapKind::emission);
    line(s, 2, "virtual_light 1");
}

// A picture is not made brighter where another layer takes a share of the hits.
void diffuse_slot(Shading& s) {
    const ImportedMap& map = map_of(s.material, MapKind::base);
    const Vec3 base = limited(s.material.base);
    const float gain = 1.0f / (1.0f - sheen_share(s));
    if (map.image < 0) return slot(s, "lambertian", limited(gain * base));
    std::vector<std::string> sampler = color_sampler(map);
    if (gain != 1.0f) {
        const std::string g = NumberText(gain);
        sampler.push_back("color_matrix " + g + " 0 0 0   0 " + g + " 0 0   0 0 " + g
                          + " 0   0 0 0 1");
    }
    image_slot(s, "lambertian", base, map, picture(s, map.image), sampler);
}

void facets_of(Shading& s) {
    line(s, 2, "microfacet \"ggx_separable\"");
    roughness_slot(s);
}

float straight_reflectance(float ior) {
    const float root = (ior - 1.0f) / (ior + 1.0f);
    return root * root;
}

// The coat has the same index and adds its own reflection.
void dielectric_layer(Shading& s) {
    const float ior = sound_ior(s.material);
    const bool mirror = is_mirror(s);
    line(s, 2, "diffuse_model \"burley\"");
    diffuse_slot(s);
    emission_slot(s);
    if (ior <= 1.0f) return mirror ? void() : roughness_slot(s);
    const float coat = unit(s.material.clearcoat);
    if (mirror || coat > 0.0f) grey_slot(s, "specular", unit(coat + (mirror ? 1.0f : 0.0f)));
    if (!mirror) {
        grey_slot(s, "glossy", 1.0f);
        if (sheen_share(s) > 0.0f)
            grey_slot(s, "f0", unit(straight_reflectance(ior) / (1.0f - sheen_share(s))));
        facets_of(s);
    }
    grey_slot(s, "ior", ior);
}

void sheen_layer(Shading& s) {
    line(s, 2, "diffuse_model \"sheen\"");
    slot(s, "lambertian", limited(s.material.sheen));
    emission_slot(s);
}

// A mirror of the hue of the metal, up to which grazing light keeps it.
void metal_mirror(Shading& s, const Vec3& base) {
    const float brightest = std::max(max_channel(base), kLeast);
    const bool full = has_map(s, MapKind::base) || brightest > 0.999f;
    const float root = std::sqrt(full ? 0.0f : brightest);
    color_slot(s, "specular", full ? base : (1.0f / brightest) * base, MapKind::base);
    grey_slot(s, "ior", full ? kPerfect : (1.0f + root) / (1.0f - root));
}

void metal_layer(Shading& s) {
    const ImportedMaterial& m = s.material;
    const Vec3 base = max(limited(m.base), Vec3{kLeast, kLeast, kLeast});
    line(s, 2, "diffuse_model \"burley\""); // does not dim what glows
    emission_slot(s);
    if (is_mirror(s)) return metal_mirror(s, base);
    grey_slot(s, "glossy", 1.0f);
    color_slot(s, "f0", base, MapKind::base);
    facets_of(s);
    if (m.clearcoat > 0.0f) grey_slot(s, "specular", unit(m.clearcoat));
    grey_slot(s, "ior", sound_ior(m));
}

void glass_layer(Shading& s) {
    const ImportedMaterial& m = s.material;
    const bool solid = m.thickness > 0.0f;
    const bool mirror = !solid || is_mirror(s);
    line(s, 2, solid ? "material \"solid\"" : "material \"thin\"");
    color_slot(s, mirror ? "specular" : "glossy", limited(m.base), MapKind::base);
    if (!mirror) facets_of(s);
    grey_slot(s, "ior", std::max(sound_ior(m), 1.0001f));
    if (!solid && !is_mirror(s))
        s.mapped.approximated.push_back("material " + s.name
                                        + ": what passes its thin sheet is not spread");
}

void hole_layer(Shading& s) {
    line(s, 2, "material \"thin\"");
    grey_slot(s, "specular", 1.0f);
}

template<typename Content>
void layer(Shading& s, const char* use, const Weight& weight, bool alone, Content content) {
    if (!is_used(weight)) return;
    line(s, 1, "surface_shader");
    content();
    normal_slot(s);
    weight_slot(s, use, weight, alone);
    line(s, 1, "end");
}

void note_losses(Shading& s) {
    const ImportedMaterial& m = s.material;
    const auto approximate = [&](const char* what) {
        s.mapped.approximated.push_back("material " + s.name + ": " + what);
    };
    if (sheen_share(s) > 0.0f) approximate("its sheen has no roughness of its own");
    if (has_map(s, MapKind::clearcoat))
        approximate("the picture of its coat is taken as 1 everywhere");
    if (m.clearcoat > 0.0f && m.clearcoat_roughness >= kMirror)
        approximate("its rough coat is shown smooth");
    if (m.unlit != 0) approximate("unlit, shown as a surface that glows");
}

void layers(Shading& s) {
    const Weights w = weights_of(s);
    int count = 0;
    for (const Weight* weight : {&w.dielectric, &w.sheen, &w.metal, &w.glass, &w.hole})
        count += is_used(*weight);
    const bool alone = count == 1;
    layer(s, "dielectric", w.dielectric, alone, [&] { dielectric_layer(s); });
    layer(s, "sheen", w.sheen, alone, [&] { sheen_layer(s); });
    layer(s, "metal", w.metal, alone, [&] { metal_layer(s); });
    layer(s, "glass", w.glass, alone, [&] { glass_layer(s); });
    layer(s, "hole", w.hole, alone, [&] { hole_layer(s); });
}

void unlit_layer(Shading& s) {
    line(s, 1, "surface_shader");
    color_slot(s, "emissive", s.material.base, MapKind::base);
    line(s, 2, "virtual_light 1");
    line(s, 1, "end");
}

void volume(Shading& s) {
    const ImportedMaterial& m = s.material;
    if (!(m.transmission > 0.0f && m.thickness > 0.0f && m.attenuation_distance > 0.0f)) return;
    const auto after_one = [&](float c) {
        return std::pow(std::clamp(c, 1e-6f, 1.0f), 1.0f / m.attenuation_distance);
    };
    const Vec3& c = m.attenuation_color;
    line(s, 1, "volume_shader");
    line(s, 2, "transmittance " + NumberText(Vec3{after_one(c.x), after_one(c.y), after_one(c.z)}));
    line(s, 1, "end");
}

// The set of coordinates of the first map that is shown; the part has one.
std::int32_t uv_set_of(const Shading& s) {
    std::int32_t set = -1;
    for (const ImportedMap& map : s.material.maps) {
        const bool is_coat = &map == &map_of(s.material, MapKind::clearcoat);
        if (map.image < 0 || is_coat) continue;
        const auto wanted = static_cast<std::int32_t>(std::min(map.uv_set, 1000u));
        if (set >= 0 && wanted != set)
            s.mapped.approximated.push_back("material " + s.name
                                            + ": all pictures use coordinates number "
                                            + std::to_string(set));
        if (set < 0) set = wanted;
    }
    return set;
}

} // namespace

MaterialText MapMaterials(const ImportedScene& scene, MappedScene& mapped) {
    MaterialText result;
    Names names, files;
    std::vector<std::string> pictures(scene.images.size());
    names.taken["undefined"] = 1;
    for (const ImportedMaterial& material : scene.materials) {
        Shading s = {scene,    material, mapped, UniqueName(names, material.name, "material"),
                     pictures, files};
        line(s, 0, "shader");
        line(s, 1, "name \"" + s.name + '"');
        material.unlit != 0 ? unlit_layer(s) : layers(s);
        volume(s);
        line(s, 0, "end");
        note_losses(s);
        result.blocks += s.text;
        result.names.push_back(s.name);
        result.uv_sets.push_back(uv_set_of(s));
        result.emissive += glows(material) || material.unlit != 0;
    }
    return result;
}

} // namespace mh
