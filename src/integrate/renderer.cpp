// Start and end of the renderer.
// SPDX-License-Identifier: MIT
#include "integrate/renderer.h"

#include "integrate/caustics.h"
#include "integrate/density.h"
#include "integrate/photons.h"
#include "integrate/run_context.h"
#include "math/clock.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/report.h"
#include "run/state.h"

#include <algorithm>

namespace mh {

namespace {

void clamp_settings() {
    RendererSettings.clamp = max(RendererSettings.clamp, Vec3{});
    RendererSettings.ray_depth = std::max(RendererSettings.ray_depth, 1);
    RendererSettings.photon_depth = std::max(RendererSettings.photon_depth, 1);
    RendererSettings.bounce = std::max(RendererSettings.bounce, 1);
}

void choose_mode() {
    const bool gather = chooses_gathering();
    RendererSettings.final_gather = gather;
    ReportText(gather ? "progressive final gathering" : "unidirectional path tracing");
    ReportRule();
}

void cast_photons() {
    const std::int64_t start = microseconds_now();
    StartPhotons();
    if (Hooks.photons_cast != nullptr) TryPhotons(0);
    CastPhotonsFromParallelLights(0);
    CastPhotonsFromPointLights(0);
    CastPhotonsFromGeometryLight(0);
    CastPhotonsFromSky(0);
    FinishPhotons();
    ReportLine("photon cast   ", seconds_since(start), "seconds");
    ReportLine("photon radius ", RendererSettings.radius, "m");
    ReportRule();
}

void report_lost_values() {
    const std::int64_t samples = Hooks.samples_not_finite.exchange(0);
    const std::int64_t values = Hooks.aov_values_not_finite.exchange(0);
    if (samples == 0 && values == 0) return;
    ReportWarning("renderer - " + std::to_string(samples) + " samples of pixels and "
                  + std::to_string(values)
                  + " values of AOVs are infinite or not numbers; they count as 0");
}

} // namespace

void ResetRenderer() {
    const RendererSettingsRecord defaults;
    RendererSettings.photon_depth = defaults.photon_depth;
    RendererSettings.ray_depth = defaults.ray_depth;
    RendererSettings.sample = defaults.sample;
    RendererSettings.final_gather = defaults.final_gather;
    RayStatistics = {};
}

void PrepareForPaths() {
    clamp_settings();
    RendererSettings.final_gather = false;
    RendererSettings.bounce_samples = RendererSettings.sample;
}

void InitializeRenderer() {
    TakeRayCounts();
    clamp_settings();
    choose_mode();
    UpdateDensity();
    if (Hooks.restore_photons == nullptr || !Hooks.restore_photons()) cast_photons();
    if (Hooks.photons_stored != nullptr) Hooks.photons_stored();
    BuildPhotonTree();
    TakeRayCounts();
    RendererSettings.bounce_samples = RendererSettings.sample;
    ReportLine("renderer sample", RendererSettings.sample, "n/a");
    ReportRule();
}

void FinalizeRenderer() {
    report_lost_values();
    ClearPhotons();
    ClearPhotonTree();
    const RendererSettingsRecord defaults;
    RendererSettings.radius = defaults.radius;
    RendererSettings.radius_squared = defaults.radius_squared;
    RendererSettings.radius_cubed = defaults.radius_cubed;
    ResetRenderer();
}

} // namespace mh
