// Startup, the phases in their order, and shutdown: each step calls into the folder that owns it.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"

#include "accel/prepare.h"
#include "accel/scene_assembly.h"
#include "accel/tree.h"
#include "accel/types.h"
#include "accel/walk.h"
#include "geometry/types.h"
#include "integrate/density.h"
#include "integrate/pixel_loop.h"
#include "integrate/renderer.h"
#include "lights/gaffer.h"
#include "lights/geometry_light.h"
#include "lights/sky_light.h"
#include "math/random.h"
#include "math/rgbe.h"
#include "math/sequence.h"
#include "math/stop.h"
#include "output/camera.h"
#include "output/image_writer.h"
#include "output/progressive.h"
#include "run/estimator.h"
#include "run/report.h"
#include "run/types.h"
#include "shading/hair_table.h"
#include "shading/images.h"
#include "shading/shaders.h"

#include <algorithm>

#include <FreeImage.h>

namespace mh {

namespace {

bool image_library_started = false;

void start_image_library() {
    if (image_library_started) return;
    FreeImage_Initialise();
    image_library_started = true;
}

void stop_image_library() {
    if (!image_library_started) return;
    FreeImage_DeInitialise();
    image_library_started = false;
}

void reset_run() {
    RootObjectIndex = 0;
    SceneBounds = {};
    SceneCenter = {};
    SceneRadius = 0.0f;
    SmoothingTimeMs = DisplacementTimeMs = 0;
    RendererSettings = {};
    RayStatistics = {};
    TraversalTotals = {};
    ThreadStates.fill({});
    ActiveCameraIndex = 0;
    FrameIndex = CurrentSample = 0;
    SceneDirectory.clear();
    ImageWriting = {};
}

// Releases the storage too: a vector that is only cleared keeps it.
template<typename T>
void destroy(std::vector<T>& records) {
    std::vector<T>().swap(records);
}

void begin_frame(std::uint32_t) {
    for (Object& object : Objects)
        std::fill(object.tree.occlusion_log.begin(), object.tree.occlusion_log.end(),
                  OcclusionLog{});
    for (ThreadState& thread : ThreadStates)
        thread.shadow_nodes = thread.shadow_leaves = thread.shadow_primitives = 0;
}

// Later frames walk the trees in the order that the first one measured.
void first_frame_done() {
    for (const ThreadState& thread : ThreadStates) {
        TraversalTotals.nodes += thread.shadow_nodes;
        TraversalTotals.leaves += thread.shadow_leaves;
        TraversalTotals.primitives += thread.shadow_primitives;
    }
    for (Object& object : Objects) {
        if (ReorderTree(object) > 0.0f) PrepareWalk(object);
        ReleaseWideNodes(object);
    }
}

void initialize_objects() {
    InitializeAccelerator();
    if (Objects.empty()) ReportError("object - there is no root object");
}

// Without a seed the source stays what it is, the hardware or the numbers that a test replays.
void select_random_numbers() {
    if (RendererSettings.estimator == Estimator::exact)
        RendererSettings.seed = std::max<std::int64_t>(RendererSettings.seed, 0);
    if (RendererSettings.seed < 0) return;
    DrawFromSeed(static_cast<std::uint64_t>(RendererSettings.seed));
    FillPixelPattern();
}

constexpr InitialPhase kPhases[] = {
    {"random numbers", select_random_numbers},
    {"cameras", InitializeCameras},
    {"textures", InitializeTextures},
    {"shaders", InitializeShaders},
    {"accelerator", initialize_objects},
    {"sky light", InitializeSkyLight},
    {"geometry light", InitializeGeometryLight},
    {"gaffer", InitializeGaffer},
    {"renderer", InitializeRenderer},
};

void finish_lights() {
    FinalizeSkyLight();
    FinalizeGeometryLight();
    FinalizeGaffer();
}

} // namespace

void Startup() {
    BuildExponentTable();
    start_image_library();
    if (std::find(ImageSearchPaths.begin(), ImageSearchPaths.end(), "") == ImageSearchPaths.end())
        ImageSearchPaths.emplace_back();
    if (draws_from_seed()) DrawFromHardware();
    BuildSequences();
    SelectWalks();
    reset_run();
    ResetGeometryLight(true);
    ResetSkyLight();
    ResetRenderer();
    CreateUndefinedShader();
}

void InitializeAccelerator() {
    if (!AssembleScene() || stop_requested()) return;
    InitializeDensity();
    ReportScene();
    for (Camera& camera : Cameras)
        FrameScene(camera, SceneCenter, SceneRadius);
    for (Shader& shader : Shaders) {
        if (!shader.is_hair) continue;
        SetHairParameters(shader);
        shader.hair_table.sample_all_lobes |= is_exact();
        BuildHairTable(shader.hair_table);
    }
}

std::span<const InitialPhase> InitialPhases() {
    return kPhases;
}

void Initialize() {
    for (const InitialPhase& phase : kPhases)
        phase.run();
}

void Render() {
    RunProgressiveLoop({begin_frame, RenderPixels, first_frame_done, finish_lights});
}

void FinalizeAccelerator() {
    destroy(Objects);
}

// The singletons lose their AOVs and links only here: the lights may have been finalised once
// before, after the last frame, and their images are written again.
void Finalize() {
    FinalizeRenderer();
    FinalizeGaffer();
    FinalizeGeometryLight();
    FinalizeSkyLight();
    FinalizeAccelerator();
    FinalizeCameras();
    FinalizeShaders();
    destroy(Textures);
    ResetGeometryLight(true);
    ResetSkyLight();
}

void Shutdown() {
    stop_image_library();
}

} // namespace mh
