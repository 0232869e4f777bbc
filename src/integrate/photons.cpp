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
#include "math/stop.h"
#include "math/threads.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/report.h"
#include "run/state.h"
#include "shading/evaluate.h"
#include "shading/microfacet.h"
#include "shading/state.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>

namespace mh {

namespace {

constexpr int kDeepest = 254;                // Ray::depth has 8 bits, and a child is one deeper
constexpr std::int64_t kPhotonsOfChunk = 64; // that a thread takes at once
constexpr std::int64_t kProgressSteps = 100;

// A stored photon and its path, in vectors that grow, and then in the joined one; nodes of the
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
    if (draws_from_seed()) thread.paths.push_back(thread.path);
}

// With a seed the photons stand in the order of their paths, whichever threads traced them.
void join_by_path() {
    struct Source {
        const ThreadPhotons* thread;
        std::size_t next;
    };

    std::vector<Source> sources;
    const auto later = [](const Source& a, const Source& b) {
        return b.thread->paths[b.next] < a.thread->paths[a.next];
    };
    for (const ThreadPhotons& thread : IntegrateState.photons_of_thread)
        if (!thread.photons.empty()) sources.push_back({&thread, 0});
    std::make_heap(sources.begin(), sources.end(), later);
    while (!sources.empty()) {
        std::pop_heap(sources.begin(), sources.end(), later);
        Source& first = sources.back();
        Photons.push_back(first.thread->photons[first.next]);
        if (++first.next < first.thread->photons.size())
            std::push_heap(sources.begin(), sources.end(), later);
        else
            sources.pop_back();
    }
}

// The later photons are left out: caustics are darker then.
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

// Before a photon whose number is a multiple of the step: those of the step before it are cast.
void report_progress(std::int64_t number, std::int64_t count, std::int64_t step,
                     std::mutex& console) {
    const double percent = 100.0 * static_cast<double>(number) / static_cast<double>(count);
    const std::lock_guard lock(console);
    ReportProgress("photon cast ", static_cast<std::int32_t>(percent), "%", false);
    if (Hooks.photons_cast != nullptr) Hooks.photons_cast(number == 0 ? 0 : step);
}

// The steps before it were reported as they ended.
void report_end(std::int64_t count, std::int64_t step) {
    if (Hooks.photons_cast != nullptr && !stop_requested())
        Hooks.photons_cast(count - (count - 1) / step * step);
}

void report_rate(std::int64_t start_microseconds) {
    const std::int64_t elapsed = std::max<std::int64_t>(microseconds_now() - start_microseconds, 1);
    const RayCounts counts = TakeRayCounts();
    ReportLine("photon cast ", static_cast<float>(counts.rays) / static_cast<float>(elapsed),
               "M rays/second");
}

void begin_path(const PathOfPhoton& path) {
    start_stream(Stream::photon, path.light, static_cast<std::uint64_t>(path.number));
    at(IntegrateState.photons_of_thread, thread_number()).path = path;
}

// Shares the numbers below count out to the threads of a team; ends early on request.
template<typename Act>
void for_each_shared(std::int64_t count, std::atomic<std::int64_t>& taken, const Act& act) {
    while (!stop_requested()) {
        const std::int64_t first = taken.fetch_add(kPhotonsOfChunk, std::memory_order_relaxed);
        if (first >= count) return;
        for (std::int64_t i = first; i < std::min(first + kPhotonsOfChunk, count); ++i)
            act(i);
    }
}

// Traces the photons of one light, unless nothing would remain of them; emit(ray, number) makes a
// photon's first ray.
template<typename Emit>
void cast(std::int64_t count, std::uint32_t pass, bool caustics, const Emit& emit) {
    if (count < 1) return;
    const bool traced = caustics || light_lands();
    TakeRayCounts();
    const std::int64_t start = microseconds_now();
    const std::int64_t first = static_cast<std::int64_t>(pass) * count;
    const std::int64_t step = std::max<std::int64_t>(count / kProgressSteps, 1);
    const std::uint32_t light = IntegrateState.lights_cast++;
    std::atomic<std::int64_t> taken = 0;
    std::mutex console; // an exception may not leave a critical section
    Caught caught;
#pragma omp parallel num_threads(team_size()) default(none)                                        \
    shared(count, first, step, traced, emit, light, taken, console, caught)
    {
        EnterWorker();
        for_each_shared(count, taken, [&](std::int64_t i) {
            keep_exceptions(caught, [&] {
                if (i % step == 0) report_progress(i, count, step, console);
                if (!traced) return;
                begin_path({light, first + i});
                Ray ray;
                emit(ray, first + i);
                if (max_channel(ray.weight) > 0.0f) trace_photon(ray);
            });
        });
    }
    throw_caught(caught);
    report_end(count, step);
    report_rate(start);
}

template<typename AnalyticLight>
void cast_from(const std::vector<AnalyticLight>& lights, std::uint32_t pass) {
    const bool caustics = has_mirrors();
    for (const AnalyticLight& light : lights) {
        cast(light.photons, pass, caustics,
             [&](Ray& ray, std::int64_t number) { light.emit_photon(ray, number); });
    }
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
    IntegrateState.lights_cast = 0;
    StartDeposits();
    StartSplats();
    const double most = std::clamp(SpareMemory() / kBytesOfPhoton, 0.0, kMostPhotons);
    IntegrateState.most_photons_of_thread = static_cast<std::size_t>(most) / to_size(team_size());
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
