// The estimate of caustic light.
// SPDX-License-Identifier: MIT
#include "integrate/caustics.h"

#include "integrate/photon_tree.h"
#include "integrate/state.h"
#include "math/at.h"
#include "math/random.h"
#include "math/roots.h"
#include "run/report.h"
#include "run/state.h"

#include <algorithm>

namespace mh {

namespace {

constexpr float kSmallestRadius = 1e-8f;
constexpr float kLeafPerRadius = 0.25f; // a leaf this short is finer than any search
constexpr int kFewest = 2;              // photons that make an estimate

// A hit point is off its surface by this share of the lengths that it was computed from; the box
// of the photons on a floor has no thickness.
constexpr float kHitRounding = 1e-5f;

bool near_photons(const Ray& ray, const Vec3& position) {
    const Aabb& box = IntegrateState.photon_tree.box;
    const Vec3 size = max(position, -position);
    const Vec3 margin = splat(kHitRounding * (max_channel(size) + ray.distance));
    return contains(Aabb{box.min - margin, box.max + margin}, position);
}

// What a thread met before depends on the schedule, and with it the order in which powers are
// added: a seed rules that out.
bool may_remember(const Ray& ray) {
    return ray.depth == 0 && !draws_from_seed();
}

// Where the thread's last look-up found 32 photons, a sphere about this point that holds that
// look-up's sphere holds 32 too.
float search_radius_squared(const Ray& ray, const Vec3& position) {
    if (!may_remember(ray)) return RendererSettings.radius_squared;
    const ThreadState& thread = ThreadStates[ray.thread];
    const float reach =
        safe_root(thread.last_lookup_radius) + length(thread.last_lookup_position - position);
    return RendererSettings.radius > reach ? reach * reach : RendererSettings.radius_squared;
}

void remember_lookup(const Ray& ray, const Vec3& position, int found, float radius_squared) {
    if (!may_remember(ray)) return;
    ThreadState& thread = ThreadStates[ray.thread];
    thread.last_lookup_radius = found >= kNearest ? radius_squared : kFar;
    if (found >= kNearest) thread.last_lookup_position = position;
}

} // namespace

void BuildPhotonTree() {
    RendererSettings.radius_squared = RendererSettings.radius * RendererSettings.radius;
    RendererSettings.radius_cubed = RendererSettings.radius_squared * RendererSettings.radius;
    IntegrateState.photon_tree = GrowPhotonTree(Photons, kLeafPerRadius * RendererSettings.radius);
    for (ThreadState& thread : ThreadStates)
        thread.last_lookup_radius = kFar;
    ReportCount("photons", static_cast<std::int64_t>(Photons.size()),
                static_cast<double>(Photons.size() * sizeof(CausticPhoton)));
}

void ClearPhotonTree() {
    IntegrateState.photon_tree = {};
}

Vec3 estimate_caustics(const Ray& ray, const SurfacePoint& point) {
    const PhotonTree& tree = IntegrateState.photon_tree;
    if (!(RendererSettings.radius >= kSmallestRadius)) return {};
    if (!near_photons(ray, point.position)) return {};
    NearestPhotons found;
    found.limit = search_radius_squared(ray, point.position);
    find_nearest(tree, Photons, point.position, point.normal, found);
    Vec3 power;
    float farthest = kSmallestSquare;
    for (std::size_t i = 0; i < to_size(found.count); ++i) {
        power += at(Photons, found.photon[i]).power;
        farthest = std::max(farthest, found.distance_squared[i]);
    }
    remember_lookup(ray, point.position, found.count, farthest);
    return found.count < kFewest ? Vec3{} : power / (kPi * farthest);
}

} // namespace mh
