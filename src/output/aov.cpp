// Output images: allocation, the shader filter, first-hit values and light shares, pixel formats.
// Written to by the thread that owns the pixel, without locks.
// SPDX-License-Identifier: MIT
#include "output/aov.h"

#include "geometry/types.h"
#include "hit/hit_vertices.h"
#include "math/at.h"
#include "math/memory.h"
#include "math/roots.h"
#include "math/threads.h"
#include "output/camera.h"
#include "output/image_writer.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/report.h"
#include "run/state.h"
#include "shading/images.h"
#include "shading/shaders.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <utility>

namespace mh {

namespace {

constexpr std::int32_t kNoShader = -2; // the filter names a shader that does not exist

std::int32_t resolve_filter(const std::string& name) {
    if (name.empty()) return kAnyShader;
    const int shader = FindNamedShader(name);
    return shader < 0 ? kNoShader : shader;
}

// 1 / number of samples that a pixel gets; 0 where that number is none.
float sample_share(const Ray& ray) {
    return ray.sample_divisor > 0 ? 1.0f / static_cast<float>(ray.sample_divisor) : 0.0f;
}

// The last array of that name; null when there is none.
template<typename T>
const VertexArray<T>* find_array(const std::vector<VertexArray<T>>& arrays,
                                 const std::string& name) {
    for (auto array = arrays.rbegin(); array != arrays.rend(); ++array)
        if (array->name == name) return &*array;
    return nullptr;
}

Vec3 as_colour(float value) {
    return splat(value);
}

Vec3 as_colour(const Vec2& value) {
    return {value.x, value.y, 0.0f};
}

Vec3 as_colour(const Vec3& value) {
    return value;
}

template<typename T>
Vec3 value_at_hit(const VertexArray<T>& array, const Ray& ray) {
    return with_hit_vertices(ray, [&array](const auto& at) {
        Vec3 sum;
        for (std::size_t k = 0; k < at.vertex.size(); ++k)
            if (at.vertex[k] < array.values.size())
                sum += at.weight[k] * as_colour(array.values[at.vertex[k]]);
        return sum;
    });
}

// The per-vertex array of that name at the hit; scalars are looked for first. Black without one.
Vec3 primvar_at_hit(const Ray& ray, const std::string& name) {
    if (ray.hit_part == nullptr || ray.hit_primitive < 0) return {};
    const Part& part = *ray.hit_part;
    if (const auto* array = find_array(part.scalar_arrays, name)) return value_at_hit(*array, ray);
    if (const auto* array = find_array(part.vec2_arrays, name)) return value_at_hit(*array, ray);
    if (const auto* array = find_array(part.vec3_arrays, name)) return value_at_hit(*array, ray);
    return {};
}

bool is_dark(const LightSplit& light) {
    return light.to_lambertian == Vec3{} && light.to_transmissive == Vec3{}
           && light.to_glossy == Vec3{};
}

// A unit vector's components, brought to 0..1.
Vec3 direction_colour(const Vec3& direction) {
    return 0.5f * (splat(1.0f) + direction);
}

inline void add_to_sums(float* sums, const Vec3& value) {
    const Vec3 next = Vec3{sums[0], sums[1], sums[2]} + value;
    // A finite sum of all three spares the look at each.
    if (!std::isfinite(next.x + next.y + next.z) && !is_finite(next)) {
        Hooks.aov_values_not_finite.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    sums[0] = next.x;
    sums[1] = next.y;
    sums[2] = next.z;
}

// In fewer steps than three comparisons.
inline bool is_black(const Vec3& value) {
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(value.x)
                               | std::bit_cast<std::uint32_t>(value.y)
                               | std::bit_cast<std::uint32_t>(value.z);
    return bits << 1 == 0;
}

constexpr std::size_t bit_of(Channel channel) {
    return static_cast<std::size_t>(std::countr_zero(static_cast<std::uint32_t>(channel)));
}

// Adds shares of the values of a hit to the images of their channels.
struct HitWriter {
    std::size_t pixel = 0;
    float share = 0.0f;

    template<typename ValueOf>
    inline void add_each(Channel channel, const ValueOf& value_of) const {
        const std::size_t bit = bit_of(channel);
        for (std::uint32_t i = FirstHits.begin[bit]; i < FirstHits.begin[bit + 1]; ++i) {
            const FirstHitImage& image = FirstHits.images[i];
            const Vec3 value = value_of(image);
            if (is_black(value) || pixel >= image.pixels) continue;
            add_to_sums(image.floats + pixel * image.channels, share * value);
        }
    }

    inline void add(Channel channel, const Vec3& value) const {
        add_each(channel, [&](const FirstHitImage&) { return value; });
    }
};

// value in 0..1 as a level of 0..top, cut; NaN is 0.
template<typename T>
T quantise(float value, T top) {
    if (value >= 1.0f) return top;
    return value > 0.0f ? static_cast<T>(static_cast<float>(top) * value) : T{0};
}

} // namespace

int AddAov(std::vector<Aov>& list) {
    list.emplace_back();
    return static_cast<int>(list.size()) - 1;
}

void AllocateAov(Aov& aov, int width, int height) {
    Image cleared;
    cleared.path = aov.image.path;
    cleared.bits = aov.image.bits;
    cleared.channels = aov.image.channels;
    aov.image = std::move(cleared);
    AllocateImage(aov.image, width, height, aov.image.channels, aov.image.bits, false);
}

void AllocateAovs(std::vector<Aov>& list) {
    const Camera* camera = ActiveCamera();
    if (camera == nullptr) return;
    const double bytes = bytes_of_pixel() * camera->width * camera->height;
    const bool fits = FitsMemory(bytes * static_cast<double>(list.size()));
    if (!fits) ReportError("aov - the images of lights need more memory than there is");
    for (Aov& aov : list)
        AllocateAov(aov, fits ? camera->width : 0, fits ? camera->height : 0);
}

void ResolveAovShaders(std::vector<Aov>& list) {
    for (Aov& aov : list)
        aov.shader = resolve_filter(aov.shader_name);
}

void add_to_aov(Aov& aov, const Ray& ray, const Vec3& value) {
    const Image& image = aov.image;
    const std::size_t first = to_size(ThreadStates[ray.thread].pixel) * to_size(image.channels);
    if (image.channels < 3 || first + 3 > image.floats.size()) return;
    add_to_sums(&aov.image.floats[first], value);
}

void add_light_aov(Aov& aov, const Ray& ray, const SurfacePoint& point, const LightSplit& light,
                   float share) {
    const Vec3 weight = ray.weight * (share * sample_share(ray));
    if (holds(aov, Channel::lambertian))
        add_to_aov(aov, ray, weight * light.to_lambertian * point.lambertian_color);
    if (holds(aov, Channel::transmissive))
        add_to_aov(aov, ray, weight * light.to_transmissive * point.transmissive_color);
    if (holds(aov, Channel::glossy))
        add_to_aov(aov, ray, weight * light.to_glossy * point.glossy_color);
    if (holds(aov, Channel::all_light))
        add_to_aov(aov, ray,
                   weight
                       * (light.to_lambertian * point.lambertian_color
                          + light.to_transmissive * point.transmissive_color
                          + light.to_glossy * point.glossy_color));
}

void add_light_aovs(std::vector<Aov>& list, const Ray& ray, const SurfacePoint& point,
                    const LightSplit& light) {
    if (list.empty() || is_dark(light)) return;
    for (Aov& aov : list)
        add_light_aov(aov, ray, point, light, 1.0f);
}

void FindFirstHitImages(Camera& camera) {
    FirstHits.images.clear();
    for (std::size_t bit = 0; bit < kChannels; ++bit) {
        FirstHits.begin[bit] = static_cast<std::uint32_t>(FirstHits.images.size());
        for (Aov& aov : camera.aovs) {
            Image& image = aov.image;
            if ((aov.channel & ~1u) != 1u << bit || image.channels < 3) continue;
            const std::size_t channels = to_size(image.channels);
            FirstHits.images.push_back(
                {image.floats.data(), image.floats.size() / channels, channels, &aov.user_data});
        }
    }
    FirstHits.begin[kChannels] = static_cast<std::uint32_t>(FirstHits.images.size());
}

void write_first_hit_aovs(const Ray& ray, const SurfacePoint& point, const LightSplit& parts,
                          const Vec3& emission) {
    if (ray.depth != 0 || FirstHits.images.empty()) return;
    const HitWriter to = {to_size(ThreadStates[ray.thread].pixel), sample_share(ray)};
    to.add(Channel::lambertian, parts.to_lambertian);
    to.add(Channel::lambertian_color, point.lambertian_color);
    to.add(Channel::transmissive, parts.to_transmissive);
    to.add(Channel::transmissive_color, point.transmissive_color);
    to.add(Channel::glossy, parts.to_glossy);
    to.add(Channel::glossy_color, point.glossy_color);
    to.add(Channel::specular, parts.to_specular);
    to.add(Channel::specular_color, point.specular_color);
    to.add(Channel::emissive, emission);
    to.add(Channel::position, point.position);
    to.add_each(Channel::normal, [&](const auto&) { return direction_colour(point.normal); });
    to.add_each(Channel::tangent, [&](const auto&) { return direction_colour(point.tangent); });
    to.add_each(Channel::depth,
                [&](const auto&) { return splat(length(point.position - ray.origin)); });
    to.add_each(Channel::primvar,
                [&](const FirstHitImage& image) { return primvar_at_hit(ray, *image.user_data); });
}

void add_lambertian_light(Camera& camera, std::int64_t pixel, const Vec3& light) {
    if (camera.aovs.size() < 2 || light == Vec3{}) return;
    Ray ray;
    ray.thread = static_cast<std::uint8_t>(thread_number());
    ThreadStates[ray.thread].pixel = static_cast<std::int32_t>(pixel);
    for (Aov& aov : camera.aovs)
        if (static_cast<Channel>(aov.channel & ~1u) == Channel::lambertian)
            add_to_aov(aov, ray, light / static_cast<float>(std::max(camera.sample, 1)));
}

Vec3 read_pixel(const Image& image, std::int64_t pixel) {
    return read_texel(image, pixel);
}

void write_pixel(Image& image, std::int64_t pixel, const Vec3& value) {
    const auto channels = to_size(image.channels);
    const std::size_t first = to_size(pixel) * channels;
    const float components[3] = {value.x, value.y, value.z};
    for (std::size_t c = 0; c < std::min<std::size_t>(channels, 3); ++c) {
        const float component = components[c];
        if (image.bits == 8)
            image.bytes[first + c] = quantise<std::uint8_t>(component, 255);
        else if (image.bits == 16)
            image.words[first + c] = quantise<std::uint16_t>(component, 65535);
        else if (image.bits == 32)
            image.floats[first + c] = component;
        else if (image.bits == 64)
            image.doubles[first + c] = component;
    }
}

void WriteAovs(const std::vector<Aov>& list) {
    for (const Aov& aov : list)
        WriteImage(aov.image);
}

double bytes_of_pixel() {
    constexpr double kThreeFloats = 12.0, kThreeSums = 72.0;
    if (is_seeded()) return kThreeFloats + kThreeSums;
    return Hooks.drops_cut_frames ? 2.0 * kThreeFloats : kThreeFloats;
}

std::int64_t size_bytes(const std::vector<Aov>& list) {
    std::int64_t sum = 0;
    for (const Aov& aov : list)
        sum += size_bytes(aov.image);
    return sum;
}

} // namespace mh
