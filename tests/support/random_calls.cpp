// A table of the exported functions, each with a generator of its arguments.
// SPDX-License-Identifier: MIT
#include "support/random_calls.h"

#include "frame/moonhare.h"

#include <array>
#include <functional>
#include <limits>
#include <type_traits>

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

const std::function<void()> kBuildingCalls[] = {
    random_call(mhSetPreviewWindow),
    random_call(mhSetDisplayGamma),
    random_call(mhSetRendererSample),
    random_call(mhSetRendererRayDepth),
    random_call(mhSetRendererPhotonDepth),
    random_call(mhSetRendererBounce),
    random_call(mhSetRendererDistance),
    random_call(mhSetRendererResolution),
    random_call(mhSetRendererRadius),
    random_call(mhSetRendererClamp),
    add_small_camera,
    random_call(mhSetCameraName),
    random_call(mhSetCameraResolution),
    random_call(mhSetCameraRegion),
    random_call(mhSetCameraSample),
    random_call(mhSetCameraExposure),
    random_call(mhSetCameraProjection),
    random_call(mhSetCameraAngleMeasure),
    random_call(mhSetCameraTime),
    random_call(mhSetCameraPosition),
    random_call(mhSetCameraTarget),
    random_call(mhSetCameraUpVector),
    random_call(mhSetCameraFOV),
    random_call(mhSetCameraBokeh),
    random_call(mhAddCameraAOV),
    random_call(mhSetCameraAOVName),
    random_call(mhSetCameraAOVChannel),
    random_call(mhSetCameraAOVUserData),
    random_call(mhAddObject),
    random_call(mhSetObjectName),
    random_call(mhAddPart),
    random_call(mhSetShaderID),
    random_call(mhAddPositions),
    random_call(mhAddNormals),
    random_call(mhAddTangents),
    random_call(mhAddUVs),
    random_call(mhAddRadii),
    random_call(mhAddTriangles),
    random_call(mhAddTetragons),
    random_call(mhAddCylinders),
    random_call(mhAddParticles),
    random_call(mhAddVertexData),
    random_call(mhAddInstance),
    random_call(mhSetInstance),
    random_call(mhAddShader),
    random_call(mhSetShaderName),
    random_call(mhSetShaderVisibility),
    random_call(mhSetShaderSmoothAngle),
    random_call(mhSetShaderRoundCorner),
    random_call(mhSetShaderTime),
    random_call(mhAddSurfaceShader),
    random_call(mhSetSurfaceColor),
    random_call(mhSetSurfaceImage),
    random_call(mhSetSurfaceMaterial),
    random_call(mhSetSurfaceSideness),
    random_call(mhSetSurfaceVirtualLight),
    random_call(mhAddDisplacementShader),
    random_call(mhSetDisplacementVector),
    random_call(mhSetDisplacementLevel),
    random_call(mhSetDisplacementImage),
    random_call(mhAddPointLight),
    random_call(mhSetPointLightColor),
    random_call(mhSetPointLightDirection),
    random_call(mhSetPointLightPosition),
    random_call(mhSetPointLightBlur),
    random_call(mhSetPointLightOffset),
    random_call(mhSetPointLightInnerAngle),
    random_call(mhSetPointLightOuterAngle),
    random_call(mhSetPointLightSample),
    random_call(mhSetPointLightPhoton),
    random_call(mhSetPointLightShaderLink),
    random_call(mhAddPointLightAOV),
    random_call(mhSetPointLightAOVName),
    random_call(mhSetPointLightAOVChannel),
    random_call(mhAddParallelLight),
    random_call(mhSetParallelLightColor),
    random_call(mhSetParallelLightDirection),
    random_call(mhSetParallelLightBlur),
    random_call(mhSetParallelLightOffset),
    random_call(mhSetParallelLightSample),
    random_call(mhSetParallelLightPhoton),
    random_call(mhSetParallelLightShaderLink),
    random_call(mhAddParallelLightAOV),
    random_call(mhSetParallelLightAOVName),
    random_call(mhSetParallelLightAOVChannel),
    random_call(mhSetSkyLightImage),
    random_call(mhSetSkyLightBackdrop),
    random_call(mhSetSkyLightColor),
    random_call(mhSetSkyLightNorth),
    random_call(mhSetSkyLightZenith),
    random_call(mhSetSkyLightSample),
    random_call(mhSetSkyLightPhoton),
    random_call(mhSetSkyLightShaderLink),
    random_call(mhAddSkyLightAOV),
    random_call(mhSetSkyLightAOVName),
    random_call(mhSetSkyLightAOVChannel),
    random_call(mhSetGeometryLightSample),
    random_call(mhSetGeometryLightPhoton),
    random_call(mhSetGeometryLightShaderLink),
    random_call(mhAddGeometryLightAOV),
    random_call(mhSetGeometryLightAOVName),
    random_call(mhSetGeometryLightAOVChannel),
    random_call(mhSetGeometryLightAOVShaderName),
};

const std::function<void()> kPhaseCalls[] = {
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
    kBuildingCalls[below(static_cast<int>(std::size(kBuildingCalls)))]();
}

void CallPhase() {
    kPhaseCalls[below(static_cast<int>(std::size(kPhaseCalls)))]();
}

} // namespace mh::test
