// Shaders, their layers and slots, images, hair tables and media: the records of this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/matrix.h"
#include "math/rgbe.h"
#include "math/vec3.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace mh {

// Parameter slots of a surface layer; hosts pass these values.
enum class Element : std::uint8_t {
    lambertian = 0,
    transmissive = 1,
    glossy = 2,
    specular = 3,
    emissive = 4,
    diffusion = 5,
    shadow_transparency = 6,
    normal = 7,
    weight = 8,
    anisotropy = 9,
    roughness = 10,
    angle = 11,
    ior = 12,
    reserved_13 = 13,
    thickness = 14,
    f0 = 15, // of facets
};
constexpr int kElementCount = 16;

// Side of a primitive that a layer applies to.
enum class Sideness : std::uint8_t { face = 0, back = 1, both = 2 };

enum class Material : std::uint8_t {
    opaque = 0, // no refraction
    solid = 1,  // dielectric solid: refracts by the index of the layer
    thin = 2,   // thin sheet: passes without bending, Fresnel of both interfaces
};

// The glossy lobe: a bounded Ward lobe, or facets of GGX whose masking knows of their heights or
// is separable.
enum class Microfacet : std::uint8_t { ward = 0, ggx = 1, ggx_separable = 2 };

// How the light of the lambertian slot depends on the directions.
enum class DiffuseModel : std::uint8_t { lambert = 0, burley = 1, oren_nayar = 2, sheen = 3 };

// What may hit a shader's primitives directly from its start; later bounces see all but `hidden`.
enum class Visibility : std::uint8_t { hidden = 0, camera_only = 1, light_only = 2, all = 3 };

enum class PixelSampler : std::uint8_t { nearest = 0, stochastic = 1, bilinear = 2 };

enum class Wrap : std::uint8_t { repeat = 0, clamp = 1, mirror = 2 };

// Layouts of texels that have look-ups of their own.
enum class TexelFormat : std::uint8_t {
    other,
    grey_bytes,
    rgb_bytes,
    rgba_bytes,
    rgbe,
    rgb_floats,
};

// Texels along an axis up to which such look-ups are exact: floats hold the integers up to four
// times as many.
constexpr std::int32_t kLargestGrid = 1 << 22;

// What such look-ups need of an image beside its pixels.
struct TexelGrid {
    Vec2 size;                       // columns and rows
    std::int32_t last[2] = {-1, -1}; // column and row
    std::size_t row_bytes = 0;
    TexelFormat format = TexelFormat::other;
};

// Pixels in the width in which the file stored them: rows of interleaved channels, red first. Only
// the array that `bits` (or `rgbe_encoded`) names is filled.
struct Image {
    bool loaded = false; // a file was found and read, whether it gave pixels or not
    bool failed = false; // no file was found, which has been reported
    std::vector<bool> bits1;
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint16_t> words;
    std::vector<float> floats;
    std::vector<double> doubles;
    std::vector<Rgbe> rgbe;
    std::string path;          // name as the scene gives it; the file name of an output image
    std::int32_t bits = 32;    // per channel: 1, 8, 16, 32 or 64
    std::int32_t channels = 3; // 1, 3 or 4
    std::int32_t width = 0, height = 0;
    bool rgbe_encoded = false;
    bool palette_indices = false; // pixels number the colours of a palette that is not kept
    TexelGrid grid;               // derived by AllocateImage
};

// One slot: a colour, and an image that multiplies it when there is one.
struct ShaderElement {
    Vec3 color;
    std::int32_t image_index = -1; // in Textures; -1 for none
    float gamma = 1.0f;            // exponent of every texel
    PixelSampler pixel_sampler = PixelSampler::bilinear;
    Wrap wrap_u = Wrap::repeat, wrap_v = Wrap::repeat;
    bool color_matrix_identity = true, uv_matrix_identity = true; // cleared: the transform is on
    bool srgb = false;     // texels are coded as in sRGB, which replaces the exponent
    bool centered = false; // texels lie at their middles, and not at their lower left corners
    std::int32_t level = 1;
    std::int32_t fresnel_image_index = -1; // in Textures; -1 for none
    Vec3 fresnel;
    Vec3 direction;
    Mat3 uv_matrix;
    Mat4 color_matrix;
    std::string image, fresnel_image, uv_set;
};

// Fibre scattering of a shader: parameters and azimuthal tables.
struct HairTable {
    std::array<float, 3> alpha = {0.17453292f, 0.34906584f,
                                  0.52359876f}; // widths R, TT, TRT, radians
    float around = 0.0f; // above 0 the width of all lobes about the fibre; alpha is that along it
    float tilt = 0.0f;   // of the scales on the fibre towards its root, radians
    float ior = 1.55f;
    Vec3 absorption = {0.01f, 0.02f, 0.01f}; // per unit of the fibre's radius
    Image pdf_image, r_image, tt_image, trt_image;
    std::array<float, 3> azimuth = {}; // widths about the fibre
    std::array<Vec2, 3> turn = {Vec2{1.0f, 0.0f}, {1.0f, 0.0f}, {1.0f, 0.0f}}; // by the tilt of a
                                                                               // lobe: cosine, sine
    std::array<float, 3> variance = {};
    std::array<float, 3> csch_term = {}; // 1 / (2 variance sinh(1 / variance))
    float f0 = 0.0f;                     // reflectance along the normal
    bool sample_all_lobes = false;       // false: the bounce follows R alone
};

// What fills a volume. `transmittance` and `albedo` are input, the rest is derived.
struct Medium {
    Vec3 scatter_ratio;
    Vec3 sigma_s;
    Vec3 sigma_t;
    Vec3 remainder; // sigma_t minus max_sigma_s
    float max_sigma_s = 0.0f;
    Vec3 albedo;
    Vec3 transmittance = {1.0f, 1.0f, 1.0f}; // what remains of light after one unit of length
    float average_cosine = 0.0f;             // asymmetry of the phase function, -1..1
    std::int32_t medium_id = 0;
};

// A layer as scenes and hosts give it.
struct SurfaceLayer {
    std::array<ShaderElement, kElementCount> elements; // made by default_surface_layer()
    Sideness sideness = Sideness::both;
    Material material = Material::opaque;
    Microfacet microfacet = Microfacet::ward;
    DiffuseModel diffuse_model = DiffuseModel::lambert;
    bool virtual_light = false;       // emission takes part in multiple importance sampling
    bool window = false;              // shows the sky in place of the emissive slot
    float azimuthal_width_deg = 0.0f; // of hair, above 0: see HairTable::around
    float cuticle_tilt_deg = 0.0f;    // of hair: see HairTable::tilt
};

constexpr std::size_t kFirstLevel = 8; // weight, the first slot of which only the mean counts

// What hits read of a layer, made by the finish of its shader: two lines of the cache.
struct alignas(64) CompiledLayer {
    bool has_image : 1 = false; // some slot has an image
    bool needs_tangents : 1 = false;
    bool has_angle : 1 = false;
    bool has_normal_map : 1 = false;
    bool has_roughness : 1 = false;
    bool has_anisotropy : 1 = false;
    bool has_fresnel : 1 = false; // the index may differ from 1
    bool has_reflective : 1 = false;
    bool plain_diffuse : 1 = false; // no image, not reflective: the fast path of a density-read hit
    bool emits : 1 = false;         // or shows the sky
    bool lambertian_present : 1 = false;
    bool transmissive_present : 1 = false;
    bool glossy_present : 1 = false;
    bool specular_present : 1 = false;
    bool diffusion_present : 1 = false;
    bool virtual_light : 1 = false;
    bool window : 1 = false;
    bool has_models : 1 = false; // of its lobes, other than the default ones
    Material material = Material::opaque;
    Microfacet microfacet = Microfacet::ward;
    DiffuseModel diffuse_model = DiffuseModel::lambert;
    std::uint16_t textured = 0;          // bit n: slot n has an image
    std::array<Vec3, 6> colors;          // of the slots lambertian to diffusion
    std::array<float, 5> levels = {};    // means of the channels of the slots weight to ior
    std::vector<ShaderElement> elements; // of all slots, or empty: neither images nor models
};

static_assert(sizeof(CompiledLayer) == 128);

// The geometry shader of a "geometry_shader" block.
struct GeometryShader {
    ShaderElement clip;
    std::vector<ShaderElement> vectors; // displacement layers: color is the vector, level, image
    std::vector<ShaderElement> radii, lengths, heights; // stored only
    float reduction = 3.4e38f;                          // stored only
    bool trivial_connection = false;                    // stored only
    bool assign_hair_texture_uv = false;                // stored only
};

// Indices into the shader's layers; at most 16 a side.
struct LayerList {
    std::int32_t count = 0;
    std::array<std::uint8_t, 16> index = {};
};

// What the layers of one side hold; asked by photons and the geometry light.
struct SideFlags {
    bool virtual_light = false;
    bool emissive = false;
    bool lambertian = false;
    bool transmissive = false;
    bool dark = false; // sends nothing but the light that its diffuse and glossy layers scatter
};

struct Shader {
    bool initialised = false; // a second finish does nothing
    bool is_hair = false;     // hair primitives use this shader
    std::string name = "undefined";
    HairTable hair_table;
    GeometryShader displacement;
    float smooth_angle = -1.0f; // degrees; below 0: normals stay as they are
    float round_corner = 1.0f;
    Visibility visibility = Visibility::all;
    bool reverse_winding = false;
    Medium medium;
    std::vector<SurfaceLayer> layers;
    std::vector<CompiledLayer> compiled_layers; // derived
    Material layer_material = Material::opaque; // of layers that are added
    bool has_image = false;             // derived: some layer has one, so that hits need their uv
    float opacity = 1.0f;               // stored only
    LayerList face_layers, back_layers; // derived
    SideFlags face, back;               // derived
};

// Of the side that the normal points to, or of the other one.
inline const LayerList& layers_of(const Shader& shader, bool front) {
    return front ? shader.face_layers : shader.back_layers;
}

inline const SideFlags& side_of(const Shader& shader, bool front) {
    return front ? shader.face : shader.back;
}

} // namespace mh
