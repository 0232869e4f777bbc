// The sky as rays see it and as a light: set-up, look-ups, samples, photons.
// SPDX-License-Identifier: MIT
#include "lights/sky_light.h"

#include "accel/state.h"
#include "lights/light_shot.h"
#include "lights/sky_distribution.h"
#include "lights/sky_map.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/frame.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "output/aov.h"
#include "output/camera.h"
#include "run/estimator.h"
#include "run/report.h"
#include "run/state.h"
#include "shading/images.h"
#include "shading/media.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace mh {

namespace {

bool has_pixels(const Image& image) {
    return image.width > 0 && image.height > 0;
}

// Within their plane, from the first to the second; no angle leaves their bits alone.
void turn(Vec3& first, Vec3& second, float degrees) {
    if (degrees == 0.0f) return;
    const float angle_rad = degrees * kRadiansPerDegree, c = std::cos(angle_rad),
                s = std::sin(angle_rad);
    const Vec3 turned = c * first + s * second;
    second = c * second - s * first;
    first = turned;
}

void build_frame() {
    SkyLight.zenith = normalize(SkyLight.zenith);
    SkyLight.north = normalize(SkyLight.north);
    Vec3 n = SkyLight.north, east = normalize(cross(n, SkyLight.zenith));
    const Vec3 up = normalize(cross(east, n));
    turn(east, n, SkyLight.rotation_deg);
    SkyLight.to_sky = {{{east.x, east.y, east.z}, {n.x, n.y, n.z}, {up.x, up.y, up.z}}};
    SkyLight.from_sky = {};
    invert(SkyLight.to_sky, SkyLight.from_sky);
}

void build_map() {
    for (std::vector<Rgbe>& face : SkyLight.faces)
        face.clear();
    SkyLight.sky_table = {};
    SkyLight.sky_samples = {};
    SkyLight.distribution = {};
    const bool shines = any_above(SkyLight.color, kNothing);
    if (shines && has_pixels(SkyLight.image)) is_exact() ? BuildSkyDistribution() : BuildSkyMap();
    if (!shines) SkyLight.photons = 0;
    if (SkyLight.sky_table.size == 0 && SkyLight.distribution.blocks.empty()) SkyLight.sample = 0;
}

void report() {
    ReportLine("sky light map width  ", SkyLight.image.width, "n/a");
    ReportLine("sky light map height ", SkyLight.image.height, "n/a");
    const double bytes = static_cast<double>(size_bytes(SkyLight.sky_table))
                         + static_cast<double>(size_bytes(SkyLight.distribution))
                         + static_cast<double>(size_bytes(SkyLight.image))
                         + static_cast<double>(size_bytes(SkyLight.backdrop))
                         + static_cast<double>(size_bytes(SkyLight.aov_list))
                         + static_cast<double>(SkyLight.faces[0].size() * kSkyFaces * sizeof(Rgbe));
    ReportLine("sky light memory      ", static_cast<float>(bytes) * kMegabytesPerByte, "M bytes");
    ReportRule();
}

// The backdrop at the pixel of the ray's thread.
Vec3 backdrop_radiance(const Ray& ray) {
    const Camera* camera = ActiveCamera();
    if (camera == nullptr || camera->width < 1 || camera->height < 1) return {};
    const std::int32_t pixel = ThreadStates[ray.thread].pixel;
    const int x = pixel % camera->width, y = pixel / camera->width;
    const Vec2 uv = {static_cast<float>(x) / static_cast<float>(camera->width),
                     static_cast<float>(y) / static_cast<float>(camera->height)};
    return sample_texture(SkyLight.backdrop, uv, SkyLight.sampler);
}

// Rays that spread before read the filtered map; the texel is found once for all its uses.
constexpr std::int32_t kNoTexel = -1;

std::int32_t texel_seen(const Ray& ray) {
    const bool reads_map = spread_bounces(ray) > 0 && !SkyLight.faces[0].empty();
    return reads_map ? sky_texel(ray.direction) : kNoTexel;
}

Vec3 radiance_seen(const Ray& ray, std::int32_t texel) {
    if (ray.depth == 0 && has_pixels(SkyLight.backdrop)) return backdrop_radiance(ray);
    return texel == kNoTexel ? sky_direction_radiance(ray.direction) : sky_map_radiance(texel);
}

// Share of a bounce's view of the sky against the samples that its source point took.
float share_of_bounce(const Ray& ray, std::int32_t texel) {
    if (SkyLight.sample < 1 || texel == kNoTexel) return 1.0f;
    if (!is_weighed(ray.scatter) || !outside_solids(ray)) return 1.0f;
    if (ray.source_point == nullptr) return 1.0f;
    const float density = kTexelDensity * probability(SkyLight.sky_table, texel);
    const float halves = ray.source_kind == HitKind::hair ? 1.0f : 2.0f;
    return bounce_share(ray, SkyLight.sample, halves * density);
}

void add_sky_sample(const LightShot& shot, LightSplit& sum) {
    constexpr float kSmallestDensity = 1e-8f;
    const bool looped = shot.count > 0;
    const float rotation = looped ? shot.cursor.rotation_v : shot.cursor.rotation_u;
    const float u =
        rotate_unit(sequence_value(shot.cursor.sample, shot.cursor.dimension), rotation);
    const std::int32_t texel = pick(SkyLight.sky_table, u);
    const SkySample& sample = at(SkyLight.sky_samples, texel);
    const float density = kTexelDensity * sample.share;
    if (!(density > (looped ? kSmallestDensity : 0.0f))) return;
    const Vec3 direction = sky_texel_direction(texel);
    Response response;
    if (!sided_response(shot, direction, response)) return;
    const Vec3 passed = transparency(shot, direction, kFar);
    if (passed == Vec3{}) return;
    // Surfaces weigh the bounce by half: the pair of this sample is the bounce's doubled density of
    // the sky.
    const float samples = looped ? static_cast<float>(SkyLight.sample) : 1.0f;
    const float bounces = looped ? static_cast<float>(RendererSettings.bounce_samples) : 1.0f;
    const Arrival arrival = {direction, passed * sample.radiance / (density * kPi),
                             samples * density, is_hair(shot) ? bounces : 0.5f * bounces};
    add_arrival(shot, response, arrival, sum);
}

// Where a hit takes several samples, the others are not expected.
SkyPlace place_of_sample(const LightShot& shot) {
    const ExpectedSkySample& expected = SkyLight.distribution.expected[shot.ray.thread];
    const SampleCursor& cursor = shot.cursor;
    const bool known = expected.path == cursor.path && expected.number == cursor.place;
    if (known && cursor.path != 0) return expected.place;
    return find_sky(light_pair(shot, Draw::sky));
}

void add_exact_sky_sample(const LightShot& shot, LightSplit& sum) {
    const SkyDraw sky = sky_draw_at(place_of_sample(shot));
    if (!(sky.density > 0.0f)) return;
    Response response;
    if (!sided_response(shot, sky.direction, response)) return;
    const Vec3 passed = transparency(shot, sky.direction, kFar);
    if (passed == Vec3{}) return;
    const Arrival arrival = {sky.direction, passed * sky.radiance / (sky.density * kPi),
                             exact_count(shot) * sky.density,
                             static_cast<float>(shot.point.rays.bounces)};
    add_arrival(shot, response, arrival, sum);
}

bool reads_distribution(const Ray& ray) {
    return spread_bounces(ray) > 0 && !SkyLight.distribution.blocks.empty();
}

// What a ray that has spread sees of the exact estimator's sky, weighed against the samples that
// its source point took.
Vec3 exact_radiance_seen(const Ray& ray) {
    if (!reads_distribution(ray)) return radiance_seen(ray, kNoTexel);
    const std::int32_t texel = ray.sky_texel < 0 ? sky_texel(ray.direction) : ray.sky_texel;
    const SkyDraw sky = seen_sky(ray.direction, texel);
    if (SkyLight.sample < 1 || !competes_with_samples(ray)) return sky.radiance;
    return exact_bounce_share(ray, ray.source_point->rays.sky, sky.density) * sky.radiance;
}

Vec3 classic_radiance_seen(const Ray& ray) {
    const std::int32_t texel = texel_seen(ray);
    const float share = share_of_bounce(ray, texel);
    return share > 0.0f ? share * radiance_seen(ray, texel) : Vec3{};
}

// Light that a photon brings from its part of the sky.
struct PhotonSource {
    Vec3 direction, radiance;
    float weight = 0.0f; // uniform density of directions over that of this one
};

PhotonSource exact_photon_source(std::uint32_t number) {
    const SkyDraw sky = draw_sky({sequence_value(number, 0), sequence_value(number, 1)});
    const float weight = sky.density > 0.0f ? 1.0f / (4.0f * kPi * sky.density) : 0.0f;
    return {sky.direction, sky.radiance, weight};
}

PhotonSource photon_source(std::uint32_t number) {
    if (!SkyLight.distribution.blocks.empty()) return exact_photon_source(number);
    const float u = sequence_value(number, 0);
    if (SkyLight.sky_table.size == 0) {
        const Vec3 direction = sample_sphere({u, sequence_value(number, 1)});
        return {direction, sky_direction_radiance(direction), 1.0f};
    }
    constexpr float kSmallestProbability = 1e-8f;
    const std::int32_t texel = pick(SkyLight.sky_table, u);
    const float share = probability(SkyLight.sky_table, texel);
    const float weight = share < kSmallestProbability ? 0.0f : 1.0f / (share * float{kSkyTexels});
    const Vec3 direction = sky_texel_direction(texel);
    return {direction, sky_direction_radiance(direction), weight};
}

} // namespace

void ResetSkyLight() {
    SkyLight = {};
}

void ResetSkyLightBlock(SkyLightRecord& sky) {
    const SkyLightRecord defaults;
    sky.color = defaults.color;
    sky.photons = defaults.photons;
    sky.north = defaults.north;
    sky.zenith = defaults.zenith;
    sky.rotation_deg = defaults.rotation_deg;
    sky.medium = defaults.medium;
    sky.sample = defaults.sample;
    sky.thickness = defaults.thickness;
    sky.ior = defaults.ior;
}

void InitializeSkyLight() {
    ResolveLink(SkyLight.link);
    build_frame();
    FinishMedium(SkyLight.medium);
    constexpr float kFourPi = 4.0f * kPi; // flux over pi of a radiance of 1 through the scene
    if (SkyLight.photons > 0) SkyLight.photon_power = splat(SceneRadius * SceneRadius * kFourPi);
    LoadImage(SkyLight.backdrop);
    LoadImage(SkyLight.image);
    build_map();
    AllocateAovs(SkyLight.aov_list);
    report();
}

void FinalizeSkyLight() {
    WriteAovs(SkyLight.aov_list);
    SkyLightRecord kept;
    kept.link = std::move(SkyLight.link);
    kept.aov_list = std::move(SkyLight.aov_list);
    kept.image.path = std::move(SkyLight.image.path);
    kept.backdrop.path = std::move(SkyLight.backdrop.path);
    SkyLight = std::move(kept);
}

Vec3 sky_direction_radiance(const Vec3& direction) {
    if (!has_pixels(SkyLight.image)) return SkyLight.color;
    return sky_image_radiance(sky_uv(SkyLight.to_sky * direction));
}

Vec3 sky_image_radiance(const Vec2& uv) {
    return SkyLight.color * sample_texture(SkyLight.image, uv, SkyLight.sampler);
}

Vec3 sky_lookup(const Ray& ray) {
    return radiance_seen(ray, texel_seen(ray));
}

void expect_sky(Ray& ray) {
    if (!reads_distribution(ray)) return;
    ray.sky_texel = sky_texel(ray.direction);
    prefetch_texel(ray.sky_texel);
}

void expect_sky_sample(const Ray& ray) {
    if (SkyLight.sample < 1 || SkyLight.distribution.blocks.empty()) return;
    if (ray.cursor.path == 0) return;
    const SkyPlace place = find_sky(draw_pair(ray.cursor, Draw::sky));
    SkyLight.distribution.expected[ray.thread] = {place, ray.cursor.path, ray.cursor.place};
}

Vec3 sky_radiance(const Ray& ray) {
    if (!is_linked(SkyLight.link, ray.source_shader)) return {};
    const Vec3 value = is_exact() ? exact_radiance_seen(ray) : classic_radiance_seen(ray);
    if (value == Vec3{}) return {};
    if (ray.scatter == Scatter::none) return value;
    const Vec3 seen = value * ray.weight / static_cast<float>(ray.sample_divisor);
    const bool is_backdrop = ray.depth == 0 && has_pixels(SkyLight.backdrop);
    for (Aov& aov : SkyLight.aov_list)
        if (!is_backdrop || !holds(aov, Channel::all_light)) add_to_aov(aov, ray, seen);
    return value;
}

LightSplit direct_sky(const Ray& ray, const SurfacePoint& point) {
    const bool none =
        is_exact() ? SkyLight.distribution.blocks.empty() : SkyLight.sky_table.size == 0;
    if (SkyLight.sample < 1 || none) return {};
    if (!is_linked(SkyLight.link, ray.hit_shader)) return {};
    const LightSplit sum =
        is_exact() ? sum_exact_samples(nullptr, ray, point, point.rays.sky, add_exact_sky_sample)
                   : sum_light_samples(nullptr, ray, point, SkyLight.sample, add_sky_sample);
    add_light_aovs(SkyLight.aov_list, ray, point, sum);
    return sum;
}

// Starts on the disk that covers the scene as seen from the photon's part of the sky.
void emit_sky_photon(Ray& ray, std::int64_t number) {
    constexpr std::uint32_t kDirectionDimensions = 2, kDiskDimensions = 2;
    SampleCursor cursor;
    cursor.sample = static_cast<std::uint32_t>(number);
    cursor.dimension = kDirectionDimensions;
    const PhotonSource source = photon_source(cursor.sample);
    const Vec3& d = source.direction;
    const Vec2 disk = concentric_disk(next_pair(cursor));
    Vec3 tangent, bitangent;
    tangent_frame(-d, tangent, bitangent);
    ray.origin = SceneCenter + SceneRadius * (disk.x * tangent + disk.y * bitangent + d);
    ray.direction = -d;
    ray.power = source.radiance * SkyLight.photon_power
                * (source.weight / static_cast<float>(SkyLight.photons));
    start_photon(ray, number, kDirectionDimensions + kDiskDimensions, SkyLight.ior, SkyLight.link);
    ray.photon_caustic = false; // rays find the sky through glass by themselves
    if (!any_above(ray.power, 0.0f)) ray.weight = {};
}

} // namespace mh
