// Photon casting.
// SPDX-License-Identifier: MIT
#include "integrate/photons.h"

#include "accel/walk.h"
#include "hit/surface_builder.h"
#include "integrate/camera_splat.h"
#include "integrate/children.h"
#include "integrate/density.h"
#include "integrate/packed_direction.h"
#include "integrate/run_context.h"
#include "integrate/state.h"
#include "lights/geometry_light.h"
#include "lights/light_sampling.h"
#include "lights/sky_light.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/clock.h"
#include "math/memory.h"
#include "math/random.h"
#include "math/spread_number.h"
#include "math/stop.h"
#include "math/threads.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/report.h"
#include "run/state.h"
#include "shading/evaluate.h"
#include "shading/microfacet.h"
#include "shading/state.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <tuple>

namespace mh {

namespace {

constexpr int kDeepest = 254;                // Ray::depth has 8 bits, and a child is one deeper
constexpr std::int64_t kPhotonsOfChunk = 64; // that a thread takes at once
constexpr std::int64_t kProgressSteps = 100;

// A stored photon and its chunk, in vectors that grow, and then in the joined one; nodes of the
// tree.
constexpr double kBytesOfPhoton = 6.0 * sizeof(CausticPhoton);
constexpr double kMostPhotons = 1073741824.0; // that the tree can number

// Whether every hit counts; without grid and splats nothing but caustics remains of a photon.
bool light_lands() {
    return RendererSettings.final_gather || splats_wanted();
}

bool may_lead_to_caustic(const Ray& ray) {
    return ray.photon_caustic && spread_bounces(ray) == 0;
}

// A light throws caustics by a mirror; surfaces, only where they are virtual lights.
bool has_mirrors() {
    const auto reflects = [](const SurfaceLayer& layer) {
        return any_above(element_of(layer, Element::specular).color, 0.0f);
    };
    return std::any_of(Shaders.begin(), Shaders.end(), [&](const Shader& shader) {
        return std::any_of(shader.layers.begin(), shader.layers.end(), reflects);
    });
}

bool has_virtual_lights() {
    return std::any_of(Shaders.begin(), Shaders.end(), [](const Shader& shader) {
        return shader.face.virtual_light || shader.back.virtual_light;
    });
}

void store_caustic(const Ray& ray, const SurfacePoint& point) {
    ThreadPhotons& thread = IntegrateState.photons_of_thread[ray.thread];
    if (thread.photons.size() >= IntegrateState.most_photons_of_thread) {
        ++thread.left_out;
        return;
    }
    thread.photons.push_back({point.position, ray.power * ray.weight,
                              pack_direction(point.outgoing),
                              pack_direction(point.geometric_normal)});
    if (draws_from_seed() && (thread.chunks.empty() || thread.chunks.back().chunk != thread.chunk))
        thread.chunks.push_back({thread.chunk, thread.photons.size() - 1});
}

// With a seed the photons stand in the order of their paths, whichever threads traced them.
void join_by_path() {
    struct Run {
        PhotonChunk chunk;
        const CausticPhoton *begin, *end;
    };

    std::vector<Run> runs;
    for (const ThreadPhotons& thread : IntegrateState.photons_of_thread) {
        const CausticPhoton* photons = thread.photons.data();
        for (const ChunkBegin& next : thread.chunks) {
            if (next.begin > 0) runs.back().end = photons + next.begin;
            runs.push_back({next.chunk, photons + next.begin, photons + thread.photons.size()});
        }
    }
    std::sort(runs.begin(), runs.end(), [](const Run& a, const Run& b) {
        return std::tie(a.chunk.light, a.chunk.first) < std::tie(b.chunk.light, b.chunk.first);
    });
    for (const Run& run : runs)
        Photons.insert(Photons.end(), run.begin, run.end);
}

// What memory does not hold is left out: caustics are darker then.
void join_photons() {
    std::size_t stored = 0, left_out = 0;
    for (const ThreadPhotons& thread : IntegrateState.photons_of_thread) {
        stored += thread.photons.size();
        left_out += thread.left_out;
    }
    Photons.reserve(stored);
    if (draws_from_seed()) join_by_path();
    for (ThreadPhotons& thread : IntegrateState.photons_of_thread) {
        if (!draws_from_seed())
            Photons.insert(Photons.end(), thread.photons.begin(), thread.photons.end());
        thread = {};
    }
    if (left_out == 0) return;
    ReportWarning("photon cast - memory holds " + std::to_string(stored) + " caustic photons; "
                  + std::to_string(left_out) + " more are left out, and caustics are too dark");
    ReportRule();
}

// w: the photon's weight times the layer's colour and its share.
void add_diffuse(const Ray& ray, const SurfacePoint& point, Scatter scatter, const Vec3& w) {
    if (!any_above(w, kNothing)) return;
    if (may_lead_to_caustic(ray) && ray.specular_bounces > 0) store_caustic(ray, point);
    if (!RendererSettings.final_gather) return;
    deposit(ray, ray.power * w);
    Ray child = spawn_child(ray, point, scatter);
    if (!sample_diffuse(ray.cursor, point, scatter, child.direction)) return;
    leave_surface(child, point);
    child.weight = scatter == Scatter::lambertian ? diffuse_share(point, child.direction) * w : w;
    trace_photon(child);
}

void trace_split(const Ray& ray, const SurfacePoint& point, Scatter refraction, Scatter reflection,
                 const FacetSplit& split, const Vec3& w) {
    if (split.refracts) {
        Ray child = refracted_child(ray, point, refraction, split, w);
        trace_photon(child);
    }
    if (split.reflects) {
        Ray child = reflected_child(ray, point, reflection, split, w);
        trace_photon(child);
    }
}

// Fibres have no lobe of this kind.
void add_glossy(const Ray& ray, const SurfacePoint& point) {
    const Vec3 w = ray.weight * point.glossy_color;
    if (!any_above(w, kNothing) || ray.hit_kind == HitKind::hair) return;
    splat_glossy(ray, point, ray.power * w);
    const FacetSplit split = split_at_facet(ray, point);
    trace_split(ray, point, Scatter::glossy_refraction, Scatter::glossy_reflection, split, w);
}

void add_specular(const Ray& ray, const SurfacePoint& point) {
    const Vec3 w = ray.weight * point.specular_color;
    if (!any_above(w, kNothing)) return;
    const FacetSplit split = split_at_surface(ray, point);
    trace_split(ray, point, Scatter::specular_refraction, Scatter::specular_reflection, split, w);
}

bool reaches(const Ray& ray) {
    return ray.depth > 0 || ray.photon_link == nullptr
           || is_linked(*ray.photon_link, ray.hit_shader);
}

// What the threads of a team have done of a light's photons.
struct Tally {
    std::atomic<std::int64_t> taken = 0, cast = 0, timed = 0, time_ns = 0;
};

void note(const Tally& tally, LightWork& light) {
    light.cast = tally.cast;
    light.timed = tally.timed;
    light.time_ns = tally.time_ns;
}

// Takes the processor time of a chunk, where it is taken: not of all chunks, since the clock costs.
template<typename Act>
void time_chunk(std::int64_t place, std::int64_t count, Tally& tally, const Act& act) {
    constexpr std::int64_t kTimed = 16 * kPhotonsOfChunk; // photons of which one chunk is timed
    if (!IntegrateState.photon_work.trying && place % kTimed > 0) return act();
    const std::int64_t start = thread_nanoseconds();
    act();
    tally.time_ns.fetch_add(thread_nanoseconds() - start, std::memory_order_relaxed);
    tally.timed.fetch_add(count, std::memory_order_relaxed);
}

void tell_share(const LightWork& light) {
    if (Hooks.photons_cast != nullptr)
        Hooks.photons_cast(share_done(IntegrateState.photon_work, light));
}

// Before the photon at this place in the order of casting.
void report_progress(std::int64_t place, LightWork light, const Tally& tally, std::mutex& console) {
    const double percent = 100.0 * static_cast<double>(place) / static_cast<double>(light.count);
    const std::lock_guard lock(console);
    if (!IntegrateState.photon_work.trying)
        ReportProgress("photon cast ", static_cast<std::int32_t>(percent), "%", false);
    note(tally, light);
    light.cast += place % kPhotonsOfChunk; // of the chunk under way
    tell_share(light);
}

void report_rate(const LightWork& light) {
    const std::int64_t elapsed = std::max<std::int64_t>(light.elapsed_us, 1);
    ReportLine("photon cast ", static_cast<float>(light.rays) / static_cast<float>(elapsed),
               "M rays/second");
}

// Number of the first photon of the chunk at this place. Directions turn with the numbers, and with
// them what photons meet: chunks are spread, so that the first are like all others. The last
// photons, where they fill no chunk, keep their place.
std::int64_t first_number(std::int64_t place, std::int64_t count) {
    const std::int64_t chunk = place / kPhotonsOfChunk, chunks = count / kPhotonsOfChunk;
    if (chunk == chunks || chunks > UINT32_MAX) return place;
    return kPhotonsOfChunk
           * spread_number(static_cast<std::uint32_t>(chunk), static_cast<std::uint32_t>(chunks));
}

// Shares the photons of a light out to the threads of a team, up to a place in the order of
// casting; act(place, number) casts one. Ends early on request.
template<typename Act>
void for_each_shared(const LightWork& light, std::int64_t end, Tally& tally, const Act& act) {
    ThreadPhotons& thread = at(IntegrateState.photons_of_thread, thread_number());
    while (!stop_requested()) {
        const std::int64_t place =
            tally.taken.fetch_add(kPhotonsOfChunk, std::memory_order_relaxed);
        if (place >= end) return;
        const std::int64_t count = std::min(kPhotonsOfChunk, light.count - place);
        thread.chunk = {light.number, first_number(place, light.count)};
        time_chunk(place, count, tally, [&] {
            for (std::int64_t i = 0; i < count; ++i)
                act(place + i, thread.chunk.first + i);
        });
        tally.cast.fetch_add(count, std::memory_order_relaxed);
    }
}

// Traces what this round casts of one light, unless nothing would remain of it; emit(ray, number)
// makes a photon's first ray.
template<typename Emit>
void cast(std::int64_t count, std::uint32_t pass, bool caustics, const Emit& emit) {
    if (count < 1) return;
    const bool traced = caustics || light_lands();
    PhotonWork& work = IntegrateState.photon_work;
    LightWork& light = begin_light(work, count);
    TakeRayCounts();
    const std::int64_t start = microseconds_now();
    const std::int64_t first = static_cast<std::int64_t>(pass) * count;
    const std::int64_t step = std::max<std::int64_t>(count / kProgressSteps, 1);
    const std::int64_t end = photons_of_round(work, count);
    Tally tally{light.cast, light.cast, light.timed, light.time_ns};
    std::mutex console; // an exception may not leave a critical section
    Caught caught;
#pragma omp parallel num_threads(team_size()) default(none)                                        \
    shared(light, end, first, step, traced, emit, tally, console, caught)
    {
        EnterWorker();
        for_each_shared(light, end, tally, [&](std::int64_t place, std::int64_t number) {
            keep_exceptions(caught, [&] {
                if (place % step == 0) report_progress(place, light, tally, console);
                if (!traced) return;
                start_stream(Stream::photon, light.number,
                             static_cast<std::uint64_t>(first + number));
                Ray ray;
                emit(ray, first + number);
                if (max_channel(ray.weight) > 0.0f) trace_photon(ray);
            });
        });
    }
    throw_caught(caught);
    note(tally, light);
    light.rays += TakeRayCounts().rays;
    light.elapsed_us += microseconds_now() - start;
    count_light(work, light);
    if (work.trying) return;
    if (!stop_requested()) tell_share({});
    report_rate(light);
}

void emit_from(const ParallelLight& light, Ray& ray, std::int64_t number) {
    light.emit_photon(ray, number);
}

// The exact estimator's soft light is a ball, which photons leave on its far side. What lies within
// is lit on their way there, and hides nothing from without.
void emit_from(const PointLight& light, Ray& ray, std::int64_t number) {
    light.emit_photon(ray, number);
    if (!is_exact() || !(light.blur > 0.0f)) return;
    const float chord = 2.0f * dot(ray.origin - light.position, ray.direction);
    Ray within = ray;
    within.origin = ray.origin - chord * ray.direction;
    Ray probe = within;
    if (closest_hit(probe) && probe.distance < chord) trace_photon(within);
}

template<typename AnalyticLight>
void cast_from(const std::vector<AnalyticLight>& lights, std::uint32_t pass) {
    const bool caustics = has_mirrors();
    for (const AnalyticLight& light : lights) {
        cast(light.photons, pass, caustics,
             [&](Ray& ray, std::int64_t number) { emit_from(light, ray, number); });
    }
}

std::int64_t photons_of_lights() {
    std::int64_t sum = std::max(SkyLight.photons, 0);
    if (GeometryLight.area > 0.0f) sum += std::max(GeometryLight.photons, 0);
    for (const PointLight& light : PointLights)
        sum += std::max<std::int64_t>(light.photons, 0);
    for (const ParallelLight& light : ParallelLights)
        sum += std::max<std::int64_t>(light.photons, 0);
    return sum;
}

} // namespace

void trace_photon(Ray& ray) {
    if (ray.depth > std::min(RendererSettings.photon_depth, kDeepest)) return;
    if (!any_above(ray.weight, kNothing) || stack_is_low(ray) || stop_requested()) return;
    if (!light_lands() && !may_lead_to_caustic(ray)) return;
    if (!closest_hit(ray) || !reaches(ray)) return;
    SurfacePoint point;
    build_surface_point(ray, point);
    evaluate_layers(ray, point);
    const Vec3 w = ray.weight * point.transmittance;
    add_diffuse(ray, point, Scatter::lambertian, w * point.lambertian_color);
    add_diffuse(ray, point, Scatter::transmissive, w * point.transmissive_color);
    add_glossy(ray, point);
    add_specular(ray, point);
}

void StartPhotons() {
    ClearPhotons();
    IntegrateState.photon_work = {};
    IntegrateState.photon_work.photons = photons_of_lights();
    StartDeposits();
    StartSplats();
    const double most = std::clamp(SpareMemory() / kBytesOfPhoton, 0.0, kMostPhotons);
    IntegrateState.most_photons_of_thread = static_cast<std::size_t>(most) / to_size(team_size());
}

void TryPhotons(std::uint32_t pass) {
    PhotonWork& work = IntegrateState.photon_work;
    work.trying = true;
    CastPhotonsFromParallelLights(pass);
    CastPhotonsFromPointLights(pass);
    CastPhotonsFromGeometryLight(pass);
    CastPhotonsFromSky(pass);
    work.trying = false;
    work.begun = 0;
}

void FinishPhotons() {
    join_photons();
    FinishDeposits();
    FinishSplats();
    ReportCutPaths();
}

void CastPhotonsFromParallelLights(std::uint32_t pass) {
    cast_from(ParallelLights, pass);
}

void CastPhotonsFromPointLights(std::uint32_t pass) {
    cast_from(PointLights, pass);
}

void CastPhotonsFromGeometryLight(std::uint32_t pass) {
    if (!(GeometryLight.area > 0.0f)) return;
    cast(GeometryLight.photons, pass, has_virtual_lights() && has_mirrors(), emit_geometry_photon);
}

void CastPhotonsFromSky(std::uint32_t pass) {
    cast(SkyLight.photons, pass, false, emit_sky_photon);
}

void ClearPhotons() {
    Photons.clear();
}

} // namespace mh
