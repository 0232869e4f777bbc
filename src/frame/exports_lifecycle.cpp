// Exported functions: lifecycle and phases, the display, pixels on demand. They keep track of what
// has run, so that a call out of order is refused and not carried out on half of a scene.
// SPDX-License-Identifier: MIT
#include "frame/host_calls.h"
#include "frame/moonhare.h"
#include "frame/phases.h"
#include "geometry/state.h"
#include "integrate/output_images.h"
#include "integrate/pixel_loop.h"
#include "integrate/renderer.h"
#include "lights/gaffer.h"
#include "lights/sky_light.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/stop.h"
#include "output/camera.h"
#include "output/state.h"
#include "run/state.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <algorithm>

namespace mh {

namespace {

constexpr std::uint32_t kOncePerScene =
    bit_of(Phase::accelerator) | bit_of(Phase::gaffer) | bit_of(Phase::frames);

void mark_done(Phase phase) {
    Progress.done |= bit_of(phase);
}

// What was rendered needs all records: without some of them there is nothing more to render.
void mark_undone(Phase phase) {
    Progress.done &= ~(bit_of(phase) | bit_of(Phase::renderer));
}

bool nothing_done(const char* call, std::uint32_t phases) {
    if ((Progress.done & phases) == 0) return true;
    ReportFault(call, HostFault::order, "has run on this scene; mhFinalize must come first");
    return false;
}

bool ready_to_render(const char* call) {
    if (!MayCall(call)) return false;
    if (is_done(Phase::renderer) && !is_done(Phase::frames)) return true;
    ReportFault(call, HostFault::order, "must come after mhInitialize, once per scene");
    return false;
}

bool has_records() {
    return !Cameras.empty() || !Objects.empty() || !PointLights.empty() || !ParallelLights.empty()
           || Shaders.size() > 1;
}

// What a host left of a scene is destroyed before the next one starts.
void finalize_the_rest(const char* call) {
    Progress.finalized_late = has_records();
    if (Progress.finalized_late)
        ReportFault(call, HostFault::order, "the scene was not finalised; mhFinalize runs now");
    Finalize();
}

void finalize_sky(const char* call) {
    if (!MayFinish(call)) return;
    FinalizeSkyLight();
    mark_undone(Phase::sky);
}

void initialize_sky(const char* call) {
    if (!MayCall(call)) return;
    InitializeSkyLight();
    mark_done(Phase::sky);
}

} // namespace

extern "C" {

MH_API void mhStartup(void) try {
    if (Progress.stage == Stage::open)
        return ReportFault(__func__, HostFault::order, "has run already");
    ForgetFaults();
    if (Progress.stage == Stage::dissolved) finalize_the_rest(__func__);
    StopRequested = false;
    Startup();
    Progress = {Stage::open};
}
MH_CATCH()

MH_API void mhGo(const char* directory) try {
    if (Progress.stage == Stage::down) ForgetFaults();
    if (!IsGiven(__func__, "the directory", directory)) return;
    if (!nothing_done(__func__, ~0u)) return;
    StopRequested = false;
    Go(directory);
    Progress = {};
}
MH_CATCH()

MH_API void mhInitialize(void) try {
    if (!MayCall(__func__) || !nothing_done(__func__, kOncePerScene)) return;
    Initialize();
    Progress.done = ~bit_of(Phase::frames);
}
MH_CATCH()

MH_API void mhInitializeCameras(void) try {
    if (!MayCall(__func__)) return;
    InitializeCameras();
    mark_done(Phase::cameras);
}
MH_CATCH()

MH_API void mhInitializeShaders(void) try {
    if (!MayCall(__func__)) return;
    InitializeShaders();
    mark_done(Phase::shaders);
}
MH_CATCH()

MH_API void mhInitializeAccelerator(void) try {
    if (!MayCall(__func__) || !nothing_done(__func__, bit_of(Phase::accelerator))) return;
    InitializeAccelerator();
    if (!Objects.empty()) mark_done(Phase::accelerator);
}
MH_CATCH()

MH_API void mhInitializeSkyLight(void) try { initialize_sky(__func__); }
MH_CATCH()

// The sky's, as it stands: the light of emissive surfaces has no phase of its own in the interface.
MH_API void mhInitializeGeometryLight(void) try { initialize_sky(__func__); }
MH_CATCH()

MH_API void mhInitializeGaffer(void) try {
    if (!MayCall(__func__) || !nothing_done(__func__, bit_of(Phase::gaffer))) return;
    InitializeGaffer();
    mark_done(Phase::gaffer);
}
MH_CATCH()

// Not after the frames, which end the lights.
MH_API void mhInitializeRenderer(void) try {
    if (!MayCall(__func__) || !nothing_done(__func__, bit_of(Phase::frames))) return;
    InitializeRenderer();
    mark_done(Phase::renderer);
}
MH_CATCH()

MH_API void mhRender(void) try {
    if (!ready_to_render(__func__)) return;
    Render();
    mark_done(Phase::frames);
}
MH_CATCH()

MH_API void mhFinalize(void) try {
    if (!MayFinish(__func__)) return;
    try {
        Finalize();
    } catch (...) { // what could not be written any more is given up
        EndCall(__func__);
        ForgetOutputs();
        Finalize();
    }
    Progress = {Stage::dissolved, 0, Progress.finalized_late, Progress.is_lost};
}
MH_CATCH()

MH_API void mhFinalizeRenderer(void) try {
    if (!MayFinish(__func__)) return;
    FinalizeRenderer();
    mark_undone(Phase::renderer);
}
MH_CATCH()

MH_API void mhFinalizeGaffer(void) try {
    if (!MayFinish(__func__)) return;
    FinalizeGaffer();
    mark_undone(Phase::gaffer);
}
MH_CATCH()

MH_API void mhFinalizeSkyLight(void) try { finalize_sky(__func__); }
MH_CATCH()

MH_API void mhFinalizeGeometryLight(void) try { finalize_sky(__func__); }
MH_CATCH()

MH_API void mhFinalizeAccelerator(void) try {
    if (!MayFinish(__func__)) return;
    FinalizeAccelerator();
    mark_undone(Phase::accelerator);
}
MH_CATCH()

MH_API void mhFinalizeCameras(void) try {
    if (!MayFinish(__func__)) return;
    FinalizeCameras();
    mark_undone(Phase::cameras);
}
MH_CATCH()

MH_API void mhFinalizeShaders(void) try {
    if (!MayFinish(__func__)) return;
    FinalizeShaders();
    mark_undone(Phase::shaders);
    Progress.stage = Stage::dissolved;
}
MH_CATCH()

MH_API void mhShutdown(void) try {
    if (!MayFinish(__func__)) return;
    finalize_the_rest(__func__);
    Shutdown();
    StopRequested = false;
    Progress = {Stage::down, 0, Progress.finalized_late, false};
}
MH_CATCH()

MH_API void mhSetPreviewWindow(bool on) try { PreviewWindow = on; }
MH_CATCH()

MH_API void mhSetDisplayGamma(float gamma) try { DisplayGamma = gamma; }
MH_CATCH()

MH_API void mhRenderPixels(int count, float* out, int frame) try {
    if (!ready_to_render(__func__)) return;
    if (count < 0)
        return ReportFault(__func__, HostFault::count, "count is " + std::to_string(count));
    if (frame < 0)
        return ReportFault(__func__, HostFault::value, "frame is " + std::to_string(frame));
    if (count > 0 && !IsGiven(__func__, "the array", out)) return;
    std::vector<Vec3> pixels;
    RenderPixelsTo(pixels, static_cast<std::uint32_t>(frame % camera_frames()));
    const std::size_t copied = std::min(pixels.size(), to_size(count));
    for (std::size_t i = 0; i < copied; ++i) {
        out[3 * i] = pixels[i].x;
        out[3 * i + 1] = pixels[i].y;
        out[3 * i + 2] = pixels[i].z;
    }
}
MH_CATCH()

} // extern "C"

} // namespace mh
