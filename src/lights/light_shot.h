// One light sample on its way to a point: the scaffold that the four kinds of light share, so that
// each of them is left with its own formula. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "lights/light_sampling.h"
#include "lights/types.h"

#include <algorithm>

namespace mh {

// One sample: which light, where it arrives, and its place in the sequence.
struct LightShot {
    const Light* light;         // null for sky and geometry light
    const Ray& ray;             // whose hit is lit
    const SurfacePoint& point;  // the hit: layers, Fresnel and glossy frame
    const SurfacePoint& target; // where light arrives: the hit, or a nearby point of its volume
    Vec3 jump;                  // colour weight of that jump
    std::int32_t target_primitive;
    HitKind target_kind;
    SampleCursor cursor; // index of the sample, at the ray's dimension
    // Samples of a first-hit loop: over the whole run, of the exact estimator in this frame; 0 for
    // a deep hit.
    std::uint32_t count = 0;
};

// Samples that the exact estimator takes at the hit in this frame.
inline float exact_count(const LightShot& shot) {
    return static_cast<float>(std::max(shot.count, 1u));
}

inline bool is_hair(const LightShot& shot) {
    return shot.ray.hit_kind == HitKind::hair;
}

// How much the layers of a point take from a direction, before Fresnel: cosines, wrapped by the
// light where it does so, and the glossy lobe. 0 for a layer that takes nothing.
struct Response {
    float lambertian = 0.0f, transmissive = 0.0f;
    float diffuse = 1.0f; // share that the lambertian layer takes of what a lambertian one would
    float glossy = 0.0f;  // cosine
    float lobe = 0.0f;
    Vec3 facets; // share of each bounce's light, where facets replace the lobe of Ward
};

// Light from one direction, and how likely either strategy was to choose it.
struct Arrival {
    Vec3 direction;       // to the light, unit
    Vec3 light;           // radiance over the density of its direction, over pi
    float sampled = 1.0f; // light samples times their density
    float bounced = 0.0f; // bounce samples, to be multiplied by the density of a bounce
};

// Adds one sample to the sum.
using AddSample = void (*)(const LightShot& shot, LightSplit& sum);

// All samples that the hit takes: a loop at the first hit, then one up to the limit of bounces.
// Diffusing faces get each sample at a point of their own.
LightSplit sum_light_samples(const Light* light, const Ray& ray, const SurfacePoint& point,
                             std::int32_t sample, AddSample add);

// `samples` of this frame at the first hit, one at deeper ones: the exact estimator's sum.
LightSplit sum_exact_samples(const Light* light, const Ray& ray, const SurfacePoint& point,
                             std::int32_t samples, AddSample add);

// The one sample of hits within the limit of bounces.
LightSplit take_one_sample(const Light* light, const Ray& ray, const SurfacePoint& point,
                           AddSample add);

// The point spreads light beneath its surface in all channels.
bool diffuses(const SurfacePoint& point);

// The response to a direction on one side of both normals. False when no layer takes anything; hair
// takes light from everywhere.
bool sided_response(const LightShot& shot, const Vec3& direction, Response& response);

// Drops the layers that are absent and evaluates the lobe. The result is that of sided_response.
bool complete_response(const LightShot& shot, const Vec3& direction, Response& response);

// What passes between the target and a light in that direction; also ignores the primitive that
// holds the light. Black below the threshold. The exact estimator also dims it by the medium that
// fills all space, unless the light is at infinity.
Vec3 transparency(const LightShot& shot, const Vec3& direction, float distance,
                  HitKind light_kind = HitKind::unset, std::int32_t light_primitive = -1);

// The same between the target and a point, for the exact estimator: the ray is aimed anew from
// where it starts off the surface, so that it ends where the point is.
Vec3 transparency_to(const LightShot& shot, const Vec3& end);

// Adds an arrival to the layers, weighted against bounces by the balance heuristic [Veach97].
void add_arrival(const LightShot& shot, const Response& response, const Arrival& arrival,
                 LightSplit& sum);

// Where light of a face comes from, and the share of the sample among those of the hit.
struct FaceSample {
    std::int32_t shader = 0;
    float share = 1.0f;
};

// Adds an arrival from a face to the layers, and to the images of the geometry light that take its
// shader alone; the others take the sum.
void add_face_arrival(const LightShot& shot, const Response& response, const Arrival& arrival,
                      const FaceSample& face, LightSplit& sum);

// Bounces whose view of a light is weighed against the samples of their source point.
bool is_weighed(Scatter scatter);

// The pair of a sample: from the ray's dimension on, or from the purpose of the exact estimator.
inline Vec2 light_pair(const LightShot& shot, Draw draw) {
    if (shot.cursor.path != 0) return draw_pair(shot.cursor, draw);
    SampleCursor cursor = shot.cursor;
    return next_pair(cursor);
}

// Share of a bounce, by its density and by the number of bounces of its source point, against
// `sample` light samples of the given density for its direction. 0 for a direction that the bounce
// could not have chosen. The ray has a source point.
float bounce_share(const Ray& ray, std::int32_t sample, float light_density);

// The same of the exact estimator: `samples` light samples a frame against the bounces a frame.
float exact_bounce_share(const Ray& ray, std::int32_t samples, float light_density);

// Whether light samples of the ray's source point could have found what the ray hits. If not, what
// it hits counts in full.
bool competes_with_samples(const Ray& ray);

} // namespace mh
