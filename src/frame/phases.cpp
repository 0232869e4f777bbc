// Startup, the phases in their order, and shutdown: each step calls into the folder that owns it.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"

#include "accel/prepare.h"
#include "accel/scene_assembly.h"
#include "accel/state.h"
#include "accel/tree.h"
#include "accel/walk.h"
#include "frame/denoised_images.h"
#include "frame/state.h"
#include "geometry/state.h"
#include "integrate/density.h"
#include "integrate/pixel_loop.h"
#include "integrate/progressive.h"
#include "integrate/renderer.h"
#include "integrate/state.h"
#include "lights/gaffer.h"
#include "lights/geometry_light.h"
#include "lights/sky_light.h"
#include "lights/state.h"
#include "math/random.h"
#include "math/rgbe.h"
#include "math/sequence.h"
#include "math/stop.h"
#include "output/camera.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/report.h"
#include "run/state.h"
#include "shading/hair_table.h"
#include "shading/images.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <algorithm>

#include <FreeImage.h>

namespace mh {

namespace {

void start_image_library() {
    if (ImageLibraryStarted) return;
    FreeImage_Initialise();
    ImageLibraryStarted = true;
}

void stop_image_library() {
    if (!ImageLibraryStarted) return;
    FreeImage_DeInitialise();
    ImageLibraryStarted = false;
}

void begin_frame(std::uint32_t) {
    for (Tree& tree : Trees)
        std::fill(tree.occlusion_log.begin(), tree.occlusion_log.end(), OcclusionLog{});
    for (ThreadState& thread : ThreadStates)
        thread.shadow_nodes = thread.shadow_leaves = thread.shadow_primitives = 0;
}

// Trees are put into the order of the occlusions that OccludeLog has counted. No walk of a render
// counts any, so that trees stay as they were built; then what only the reordering reads is freed.
void first_frame_done() {
    for (const ThreadState& thread : ThreadStates) {
        TraversalTotals.nodes += thread.shadow_nodes;
        TraversalTotals.leaves += thread.shadow_leaves;
        TraversalTotals.primitives += thread.shadow_primitives;
    }
    for (std::size_t i = 0; i < Trees.size(); ++i) {
        if (ReorderTree(Trees[i]) > 0.0f) PrepareWalk(Objects[i], Trees[i]);
        ReleaseWideNodes(Trees[i]);
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
    KeepLightImages();
    FinalizeSkyLight();
    FinalizeGeometryLight();
    FinalizeGaffer();
}

} // namespace

void Startup() {
    start_image_library();
    if (std::find(ImageSearchPaths.begin(), ImageSearchPaths.end(), "") == ImageSearchPaths.end())
        ImageSearchPaths.emplace_back();
    if (draws_from_seed()) DrawFromHardware();
    BuildSequences();
    SelectWalks();
    ResetRun();
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

FrameSteps StepsOfFrames() {
    return {begin_frame, RenderPixels, first_frame_done, finish_lights};
}

void Render() {
    RunProgressiveLoop(StepsOfFrames());
}

void FinalizeAccelerator() {
    ResetAccel();
    ReleaseDensity();
    ResetGeometry();
}

// Each step writes and releases its own; the resets leave nothing of the scene, so that the next
// begins as the first. The lights may have been finalised once before, after the last frame: they
// lose their AOVs and links only here, and their images are written again.
void Finalize() {
    FinalizeRenderer();
    FinalizeGaffer();
    FinalizeGeometryLight();
    FinalizeSkyLight();
    FinalizeAccelerator();
    FinalizeCameras();
    FinalizeShaders();
    ResetIntegrate();
    ResetLights();
    ResetOutput();
    ResetShading();
}

void Shutdown() {
    stop_image_library();
}

} // namespace mh
