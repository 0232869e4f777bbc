// A table of the exported functions, each with a generator of its arguments.
// SPDX-License-Identifier: MIT
#include "support/random_calls.h"

#include "frame/moonhare.h"

#include <array>
#include <functional>
#include <limits>
#include <type_traits>
#include <vector>

namespace mh::test {
namespace {

constexpr std::size_t kLargestCount = 12; // of the arrays below
ChoiceSource draw = nullptr;
std::array<float, 3 * kLargestCount> floats;
std::array<int, 4 * kLargestCount> whole_numbers;
std::array<float, 3 * kLargestCount> pixels;

int below(int limit) {
    return static_cast<int>(draw(static_cast<unsigned>(limit)));
}

// Mostly small, so that many calls reach a record.
int random_whole() {
    if (below(20) == 0) return std::numeric_limits<int>::min();
    return below(10) == 0 ? -below(5) : below(below(3) == 0 ? int{kLargestCount} + 1 : 3);
}

float random_float() {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kOdd[] = {0.0f, -1.0f, 1e-30f, 3.4e38f, -1e20f, kInfinity, kNan};
    if (below(8) == 0) return kOdd[below(7)];
    return static_cast<float>(below(2000)) / 100.0f - 5.0f;
}

// Sky maps from a picture that an earlier call wrote take long: rarely.
const char* random_text() {
    constexpr const char* kTexts[] = {nullptr, "", "a", "none.png", "motion"};
    return below(300) == 0 ? "beauty.hdr" : kTexts[below(5)];
}

template<typename T>
T random_value() {
    if constexpr (std::is_same_v<T, bool>)
        return false; // no preview window
    else if constexpr (std::is_same_v<T, float>)
        return random_float();
    else if constexpr (std::is_same_v<T, const char*>)
        return random_text();
    else if constexpr (std::is_same_v<T, const float*>)
        return below(10) == 0 ? nullptr : floats.data();
    else if constexpr (std::is_same_v<T, float*>)
        return below(10) == 0 ? nullptr : pixels.data();
    else if constexpr (std::is_same_v<T, const int*>)
        return below(10) == 0 ? nullptr : whole_numbers.data();
    else if constexpr (std::is_pointer_v<T>) // rows of a matrix
        return below(3) == 0 ? nullptr : reinterpret_cast<T>(floats.data());
    else
        return static_cast<T>(random_whole());
}

template<typename Result, typename... Arguments>
std::function<void()> random_call(Result (*function)(Arguments...)) {
    return [function] { function(random_value<Arguments>()...); };
}

template<typename... Functions>
std::vector<std::function<void()>> random_calls(Functions... functions) {
    return {random_call(functions)...};
}

// The time of a run stays short: few photons, small pictures, few rays.
void keep_small() {
    mhSetSkyLightPhoton(20);
    mhSetGeometryLightPhoton(20);
    mhSetRendererSample(4);
    mhSetRendererBounce(2);
    mhSetRendererRayDepth(3);
    mhSetCameraResolution(0, 6, 5);
    mhSetCameraSample(0, 2);
}

template<void (*function)()>
void small_call() {
    keep_small();
    function();
}

// Images of the default size would take most of the time.
void add_small_camera() {
    mhSetCameraResolution(mhAddCamera(), 6, 5);
}

void start() {
    mhStartup();
    add_small_camera();
    keep_small();
}

const std::vector<std::function<void()>> kBuildingCalls = random_calls(
    mhSetPreviewWindow, mhSetDisplayGamma, mhSetRendererSample, mhSetRendererRayDepth,
    mhSetRendererPhotonDepth, mhSetRendererBounce, mhSetRendererDistance, mhSetRendererResolution,
    mhSetRendererRadius, mhSetRendererClamp, add_small_camera, mhSetCameraName,
    mhSetCameraResolution, mhSetCameraRegion, mhSetCameraSample, mhSetCameraExposure,
    mhSetCameraProjection, mhSetCameraAngleMeasure, mhSetCameraTime, mhSetCameraPosition,
    mhSetCameraTarget, mhSetCameraUpVector, mhSetCameraFOV, mhSetCameraBokeh, mhAddCameraAOV,
    mhSetCameraAOVName, mhSetCameraAOVChannel, mhSetCameraAOVUserData, mhAddObject, mhSetObjectName,
    mhAddPart, mhSetShaderID, mhAddPositions, mhAddNormals, mhAddTangents, mhAddUVs, mhAddRadii,
    mhAddTriangles, mhAddTetragons, mhAddCylinders, mhAddParticles, mhAddVertexData, mhAddInstance,
    mhSetInstance, mhAddShader, mhSetShaderName, mhSetShaderVisibility, mhSetShaderSmoothAngle,
    mhSetShaderRoundCorner, mhSetShaderTime, mhAddSurfaceShader, mhSetSurfaceColor,
    mhSetSurfaceImage, mhSetSurfaceMaterial, mhSetSurfaceSideness, mhSetSurfaceVirtualLight,
    mhAddDisplacementShader, mhSetDisplacementVector, mhSetDisplacementLevel,
    mhSetDisplacementImage, mhAddPointLight, mhSetPointLightColor, mhSetPointLightDirection,
    mhSetPointLightPosition, mhSetPointLightBlur, mhSetPointLightOffset, mhSetPointLightInnerAngle,
    mhSetPointLightOuterAngle, mhSetPointLightSample, mhSetPointLightPhoton,
    mhSetPointLightShaderLink, mhAddPointLightAOV, mhSetPointLightAOVName,
    mhSetPointLightAOVChannel, mhAddParallelLight, mhSetParallelLightColor,
    mhSetParallelLightDirection, mhSetParallelLightBlur, mhSetParallelLightOffset,
    mhSetParallelLightSample, mhSetParallelLightPhoton, mhSetParallelLightShaderLink,
    mhAddParallelLightAOV, mhSetParallelLightAOVName, mhSetParallelLightAOVChannel,
    mhSetSkyLightImage, mhSetSkyLightBackdrop, mhSetSkyLightColor, mhSetSkyLightNorth,
    mhSetSkyLightZenith, mhSetSkyLightSample, mhSetSkyLightPhoton, mhSetSkyLightShaderLink,
    mhAddSkyLightAOV, mhSetSkyLightAOVName, mhSetSkyLightAOVChannel, mhSetGeometryLightSample,
    mhSetGeometryLightPhoton, mhSetGeometryLightShaderLink, mhAddGeometryLightAOV,
    mhSetGeometryLightAOVName, mhSetGeometryLightAOVChannel, mhSetGeometryLightAOVShaderName);

const std::vector<std::function<void()>> kPhaseCalls = {
    start,
    small_call<mhInitialize>,
    small_call<mhInitializeRenderer>,
    small_call<mhRender>,
    mhInitializeCameras,
    mhInitializeShaders,
    mhInitializeAccelerator,
    small_call<mhInitializeSkyLight>,
    small_call<mhInitializeGeometryLight>,
    mhInitializeGaffer,
    mhFinalize,
    mhFinalizeRenderer,
    mhFinalizeGaffer,
    mhFinalizeSkyLight,
    mhFinalizeGeometryLight,
    mhFinalizeAccelerator,
    mhFinalizeCameras,
    mhFinalizeShaders,
    mhShutdown,
    [] { mhGo(nullptr); },
    random_call(mhRenderPixels),
};

void call_one_of(const std::vector<std::function<void()>>& calls) {
    calls[draw(static_cast<unsigned>(calls.size()))]();
}

} // namespace

void DrawFrom(ChoiceSource source) {
    draw = source;
}

void FillArrays() {
    for (float& value : floats)
        value = random_float();
    for (int& value : whole_numbers)
        value = random_whole();
}

void CallStart() {
    start();
}

void CallInitialize() {
    small_call<mhInitialize>();
}

void CallToBuild() {
    call_one_of(kBuildingCalls);
}

void CallPhase() {
    call_one_of(kPhaseCalls);
}

} // namespace mh::test
