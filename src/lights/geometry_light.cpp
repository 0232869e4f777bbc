// Emitting surfaces as one light: the table of its samples, direct light from them, emission that
// rays meet by chance, photons.
// SPDX-License-Identifier: MIT
#include "lights/geometry_light.h"

#include "lights/emitters.h"
#include "lights/lamp_samples.h"
#include "lights/lamps.h"
#include "lights/light_shot.h"
#include "lights/sky_light.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/frame.h"
#include "math/random.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "output/aov.h"
#include "output/camera.h"
#include "run/estimator.h"
#include "run/report.h"
#include "run/state.h"
#include "shading/evaluate.h"

#include <cstdlib>
#include <utility>

namespace mh {

namespace {

LightFace& face_of(const LightSample& sample) {
    return at(GeometryLight.faces, sample.face);
}

bool same_face(const LightFace& a, const LightFace& b) {
    return a.primitive == b.primitive && a.shader == b.shader && a.kind == b.kind
           && a.front == b.front && a.normal == b.normal && a.emission == b.emission
           && a.primitive_area == b.primitive_area;
}

// Index of a face; the picks rise, so that an equal one is the last.
std::int32_t find_or_add(const LightFace& face) {
    if (!same_face(GeometryLight.faces.back(), face)) GeometryLight.faces.push_back(face);
    return static_cast<std::int32_t>(GeometryLight.faces.size()) - 1;
}

// The i-th entry; stays zero where nothing is emitted.
void fill_sample(int i) {
    start_stream(Stream::table, 0, static_cast<std::uint64_t>(i));
    const float r = random_unit();
    const float u = (static_cast<float>(i) + r) / float{kLightSamples};
    const auto number = static_cast<std::uint32_t>(i);
    EmitterPoint point;
    if (!sample_emitter(u, {sequence_value(number, 0), sequence_value(number, 1)}, point)) return;
    if (!any_above(point.emission, kNothing)) return;
    const Vec3 emission = point.emission * (GeometryLight.area / kPi);
    const LightFace face = {point.normal, emission,   point.primitive_area, point.primitive,
                            point.shader, point.kind, point.front,          0.0f};
    GeometryLight.samples[number] = {point.position, find_or_add(face)};
    set_weight(GeometryLight.table, i, mean(emission));
}

void build_table() {
    GeometryLight.samples.clear();
    GeometryLight.faces.assign(1, {});
    GeometryLight.table = {};
    if (GeometryLight.sample < 1 || !(GeometryLight.area > 0.0f)) {
        GeometryLight.sample = 0;
        return;
    }
    if (is_exact()) return;
    GeometryLight.samples.resize(kLightSamples);
    CreateSampler(GeometryLight.table, kLightSamples);
    for (int i = 0; i < kLightSamples; ++i)
        fill_sample(i);
    FinishSampler(GeometryLight.table);
    for (std::int32_t i = 0; i < GeometryLight.table.size; ++i)
        face_of(at(GeometryLight.samples, i)).share = probability(GeometryLight.table, i);
}

// The table outgrows the first cache. Where all emit alike the pick is close to u times its size.
void prefetch_sample(float u) {
    const auto size = static_cast<float>(GeometryLight.table.size);
    const auto near = static_cast<std::size_t>(u * size);
    __builtin_prefetch(GeometryLight.table.cdf.data() + near);
    __builtin_prefetch(GeometryLight.samples.data() + near);
}

void add_geometry_sample(const LightShot& shot, LightSplit& sum) {
    const bool looped = shot.count > 0;
    float u = random_unit();
    if (looped) {
        u = (static_cast<float>(shot.cursor.sample) + u) / static_cast<float>(shot.count);
        u = rotate_unit(u, shot.cursor.rotation_u);
    }
    prefetch_sample(u);
    const std::int32_t index = pick(GeometryLight.table, u);
    if (index < 0) return;
    const LightSample& x = at(GeometryLight.samples, index);
    const LightFace& face = face_of(x);
    if (!(face.share > 0.0f)) return;
    const Vec3 v = x.position - shot.target.position;
    const float square = dot(v, v);
    const Vec3 direction = normalize(v);
    const float cos_light = -dot(face.normal, direction);
    if (!(cos_light > 0.0f)) return;
    Response response;
    if (!sided_response(shot, direction, response)) return;
    const Vec3 passed = transparency(shot, direction, safe_root(square), face.kind, face.primitive);
    if (passed == Vec3{}) return;
    const float samples = looped ? static_cast<float>(GeometryLight.sample) : 1.0f;
    const float bounces = looped ? static_cast<float>(RendererSettings.bounce_samples) : 1.0f;
    const Arrival arrival = {
        direction, passed * face.emission * (cos_light / (square * kLightSamples * face.share)),
        samples * square / (cos_light * GeometryLight.area), bounces};
    const float frames = static_cast<float>(camera_frames());
    const float share = looped ? frames / static_cast<float>(shot.count) : 1.0f;
    add_face_arrival(shot, response, arrival, {face.shader, share}, sum);
}

LightSplit sum_samples(const Ray& ray, const SurfacePoint& point) {
    return is_exact()
               ? sum_exact_samples(nullptr, ray, point, point.rays.lamps, add_lamp_sample)
               : sum_light_samples(nullptr, ray, point, GeometryLight.sample, add_geometry_sample);
}

[[gnu::noinline]] LightSplit sum_into_images(const Ray& ray, const SurfacePoint& point) {
    const LightSplit sum = sum_samples(ray, point);
    for (Aov& aov : GeometryLight.aov_list)
        if (aov.shader == kAnyShader) add_light_aov(aov, ray, point, sum, 1.0f);
    return sum;
}

// Emission behind a specular bounce that no light sample could have found counts in full, unless
// photons bring it.
bool seen_in_mirror(const Ray& ray) {
    if (!is_specular(ray.scatter)) return false;
    if (ray.prior_scatter == Scatter::glossy_reflection) return true;
    return is_weighed(ray.prior_scatter) && GeometryLight.photons == 0;
}

// Share of emission met by a ray against the samples that its source point took.
float share_of_bounce(const Ray& ray, const SurfacePoint& point) {
    if (!point.layer->virtual_light || GeometryLight.sample < 1) return 1.0f;
    if (spread_bounces(ray) == 0 || seen_in_mirror(ray)) return 1.0f;
    if (!is_weighed(ray.scatter)) return 0.0f;
    if (!outside_solids(ray) || !(point.cos_outgoing > 0.0f)) return 0.0f;
    if (ray.source_point == nullptr) return 1.0f;
    const float density =
        GeometryLight.area > 0.0f
            ? ray.distance * ray.distance / (point.cos_outgoing * GeometryLight.area)
            : 0.0f;
    return bounce_share(ray, GeometryLight.sample, density);
}

bool emits(const SurfacePoint& point) {
    return point.layer != nullptr && point.layer->emits;
}

Vec3 emitted(const Ray& ray, const SurfacePoint& point) {
    if (!emits(point) || !is_linked(GeometryLight.link, ray.source_shader)) return {};
    const bool window = point.layer->window;
    const float share = is_exact() ? lamp_bounce_share(ray, point) : share_of_bounce(ray, point);
    if (!(share > 0.0f)) return {};
    return share
           * (window ? sky_direction_radiance(ray.direction)
                     : evaluate_color(*point.layer, Element::emissive, point));
}

// Channel of the layer that scattered the ray.
Channel channel_of(Scatter scatter) {
    switch (scatter) {
    case Scatter::lambertian: return Channel::lambertian;
    case Scatter::transmissive: return Channel::transmissive;
    case Scatter::glossy_reflection:
    case Scatter::glossy_refraction: return Channel::glossy;
    case Scatter::none:
    case Scatter::specular_reflection:
    case Scatter::specular_refraction: return Channel::specular;
    }
    std::abort();
}

void add_aovs(const Ray& ray, const Vec3& value) {
    const Vec3 seen = value * ray.weight / static_cast<float>(ray.sample_divisor);
    const Channel channel = channel_of(ray.scatter);
    for (Aov& aov : GeometryLight.aov_list) {
        const bool passes = aov.shader == kAnyShader || aov.shader == ray.hit_shader;
        const bool holds_it = holds(aov, channel) || holds(aov, Channel::all_light);
        if (passes && holds_it) add_to_aov(aov, ray, seen);
    }
}

// Apart from the many hits that send nothing.
[[gnu::noinline]] Vec3 sent_light(const Ray& ray, const SurfacePoint& point, const Vec3& density) {
    return point.transmittance * send_light(ray, density + emitted(ray, point));
}

} // namespace

void ResetGeometryLight(bool all) {
    GeometryLightRecord fresh;
    if (!all) {
        fresh.link = std::move(GeometryLight.link);
        fresh.aov_list = std::move(GeometryLight.aov_list);
    }
    GeometryLight = std::move(fresh);
}

void InitializeGeometryLight() {
    ResolveLink(GeometryLight.link);
    const LightLists* root = root_lights();
    GeometryLight.area = root == nullptr ? 0.0f : root->emission_weight;
    if (root == nullptr || root->emission_list.empty()) GeometryLight.photons = 0;
    if (GeometryLight.photons > 0)
        GeometryLight.photon_power =
            splat(GeometryLight.area / static_cast<float>(GeometryLight.photons));
    build_table();
    if (is_exact()) CollectLamps(GeometryLight.lamps);
    ResolveAovShaders(GeometryLight.aov_list);
    AllocateAovs(GeometryLight.aov_list);
    ReportLine("geometry light area  ", GeometryLight.area, "m x m");
    ReportLine("geometry light sample", GeometryLight.sample, "n/a");
    ReportRule();
}

void FinalizeGeometryLight() {
    WriteAovs(GeometryLight.aov_list);
    ResetGeometryLight(false);
}

LightSplit direct_geometry(const Ray& ray, const SurfacePoint& point) {
    const bool none = is_exact() ? GeometryLight.lamps.tree.empty() : GeometryLight.table.size == 0;
    if (GeometryLight.sample < 1 || none) return {};
    if (!is_linked(GeometryLight.link, ray.hit_shader)) return {};
    return GeometryLight.aov_list.empty() ? sum_samples(ray, point) : sum_into_images(ray, point);
}

Vec3 send_light(const Ray& ray, const Vec3& light) {
    const bool seen = !GeometryLight.aov_list.empty() && !(light == Vec3{});
    if (seen && is_linked(GeometryLight.link, ray.source_shader)) add_aovs(ray, light);
    return light;
}

Vec3 surface_emission(const Ray& ray, const SurfacePoint& point, const Vec3& density) {
    return density == Vec3{} && !emits(point) ? Vec3{} : sent_light(ray, point, density);
}

void emit_geometry_photon(Ray& ray, std::int64_t number) {
    constexpr std::uint32_t kFaceDimensions = 2, kDirectionDimensions = 2;
    SampleCursor cursor;
    cursor.sample = static_cast<std::uint32_t>(number);
    const Vec2 ab = next_pair(cursor);
    const Vec2 uv = next_pair(cursor);
    const float r = random_unit();
    const float u = static_cast<float>((static_cast<double>(number) + r) / GeometryLight.photons);
    EmitterPoint point;
    const bool found = is_exact() ? sample_lamp_power(u, ab, point) : sample_emitter(u, ab, point);
    Vec3 tangent, bitangent;
    tangent_frame(point.normal, tangent, bitangent);
    // A step off the face, so that rounding does not let it stop its own light.
    ray.origin = point.position + point.rounding * point.normal;
    ray.direction = from_frame(sample_cosine_local(uv), tangent, bitangent, point.normal);
    ray.power = GeometryLight.photon_power * point.emission;
    start_photon(ray, number, kFaceDimensions + kDirectionDimensions, 1.0f, GeometryLight.link);
    ray.photon_caustic = point.virtual_light;
    if (!found || !any_above(ray.power, 0.0f)) ray.weight = {};
}

} // namespace mh
