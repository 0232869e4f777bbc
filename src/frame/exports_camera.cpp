// Exported functions: settings of the renderer, cameras and their output images.
// SPDX-License-Identifier: MIT
#include "frame/host_calls.h"
#include "frame/moonhare.h"
#include "output/camera.h"
#include "output/state.h"
#include "run/state.h"

namespace mh {

namespace {

Camera* camera_at(const char* call, int camera) {
    return MayCall(call) ? RecordAt(call, Cameras, "camera", camera) : nullptr;
}

// Its images are not made yet.
Camera* open_camera(const char* call, int camera) {
    return MayBuild(call, Phase::cameras) ? RecordAt(call, Cameras, "camera", camera) : nullptr;
}

CameraPose* pose_of(const char* call, int camera) {
    Camera* record = camera_at(call, camera);
    return record == nullptr ? nullptr : &record->poses[record->pose_index == 0 ? 0 : 1];
}

std::vector<Aov>* aovs_of(Camera* camera) {
    return camera == nullptr ? nullptr : &camera->aovs;
}

// Between frames the sizes of the images are given: what the camera phase did once is repeated.
void limit_between_frames(Camera& camera) {
    if (is_done(Phase::cameras)) LimitCamera(camera);
}

} // namespace

extern "C" {

MH_API void mhSetRendererSample(int sample) try {
    if (MayCall(__func__)) RendererSettings.sample = sample;
}
MH_CATCH()

MH_API void mhSetRendererRayDepth(int depth) try {
    if (MayCall(__func__)) RendererSettings.ray_depth = depth;
}
MH_CATCH()

MH_API void mhSetRendererPhotonDepth(int depth) try {
    if (MayCall(__func__)) RendererSettings.photon_depth = depth;
}
MH_CATCH()

MH_API void mhSetRendererBounce(int bounce) try {
    if (MayCall(__func__)) RendererSettings.bounce = bounce;
}
MH_CATCH()

MH_API void mhSetRendererDistance(float distance) try {
    if (MayCall(__func__)) RendererSettings.distance = distance;
}
MH_CATCH()

MH_API void mhSetRendererResolution(float resolution) try {
    if (MayCall(__func__)) RendererSettings.resolution = resolution;
}
MH_CATCH()

MH_API void mhSetRendererRadius(float radius) try {
    if (MayCall(__func__)) RendererSettings.radius = radius;
}
MH_CATCH()

MH_API void mhSetRendererClamp(float r, float g, float b) try {
    if (MayCall(__func__)) RendererSettings.clamp = {r, g, b};
}
MH_CATCH()

MH_API void mhSetRendererNoise(float error) try {
    if (MayCall(__func__)) RendererSettings.noise = error;
}
MH_CATCH()

MH_API void mhSetRendererAdaptive(bool on) try {
    if (MayCall(__func__)) RendererSettings.adaptive = on;
}
MH_CATCH()

MH_API int mhAddCamera(void) try { return MayBuild(__func__, Phase::cameras) ? AddCamera() : -1; }
MH_CATCH(-1)

MH_API void mhSetCameraName(int camera, const char* name) try {
    if (Camera* record = camera_at(__func__, camera)) SetText(__func__, name, record->name);
}
MH_CATCH()

MH_API void mhSetCameraResolution(int camera, int width, int height) try {
    Camera* record = open_camera(__func__, camera);
    if (record == nullptr) return;
    record->width = width;
    record->height = height;
}
MH_CATCH()

MH_API void mhSetCameraRegion(int camera, int x0, int y0, int x1, int y1) try {
    Camera* record = camera_at(__func__, camera);
    if (record == nullptr) return;
    record->region_x0 = x0;
    record->region_y0 = y0;
    record->region_x1 = x1;
    record->region_y1 = y1;
    limit_between_frames(*record);
}
MH_CATCH()

MH_API void mhSetCameraSample(int camera, int sample) try {
    Camera* record = camera_at(__func__, camera);
    if (record == nullptr) return;
    record->sample = sample;
    limit_between_frames(*record);
}
MH_CATCH()

MH_API void mhSetCameraExposure(int camera, float r, float g, float b) try {
    if (Camera* record = camera_at(__func__, camera)) record->exposure = {r, g, b};
}
MH_CATCH()

MH_API void mhSetCameraProjection(int camera, mhProjection projection) try {
    Camera* record = camera_at(__func__, camera);
    if (record == nullptr) return;
    if (!IsAtMost(__func__, "projection", projection, mhProjectionSpherical)) return;
    record->projection = static_cast<Projection>(projection);
}
MH_CATCH()

MH_API void mhSetCameraAngleMeasure(int camera, mhAngleMeasure measure) try {
    Camera* record = camera_at(__func__, camera);
    if (record == nullptr) return;
    if (!IsAtMost(__func__, "measure", measure, mhAngleMeasureRadians)) return;
    record->angle_measure = static_cast<AngleMeasure>(measure);
}
MH_CATCH()

MH_API void mhSetCameraTime(int camera, float time) try {
    constexpr float kMiddle = 0.5f;
    if (Camera* record = camera_at(__func__, camera)) record->pose_index = time < kMiddle ? 0 : 1;
}
MH_CATCH()

MH_API void mhSetCameraPosition(int camera, float x, float y, float z) try {
    if (CameraPose* pose = pose_of(__func__, camera)) pose->position = {x, y, z};
}
MH_CATCH()

MH_API void mhSetCameraTarget(int camera, float x, float y, float z) try {
    if (CameraPose* pose = pose_of(__func__, camera)) pose->target = {x, y, z};
}
MH_CATCH()

MH_API void mhSetCameraUpVector(int camera, float x, float y, float z) try {
    if (CameraPose* pose = pose_of(__func__, camera)) pose->up_vector = {x, y, z};
}
MH_CATCH()

MH_API void mhSetCameraFOV(int camera, float degrees) try {
    if (CameraPose* pose = pose_of(__func__, camera)) pose->field_of_view = degrees;
}
MH_CATCH()

MH_API void mhSetCameraBokeh(int camera, float bokeh) try {
    if (CameraPose* pose = pose_of(__func__, camera)) pose->bokeh = bokeh;
}
MH_CATCH()

MH_API int mhAddCameraAOV(int camera) try {
    return AddHostAov(aovs_of(open_camera(__func__, camera)));
}
MH_CATCH(-1)

MH_API void mhSetCameraAOVName(int camera, int aov, const char* name) try {
    SetAovName(__func__, aovs_of(camera_at(__func__, camera)), aov, name);
}
MH_CATCH()

MH_API void mhSetCameraAOVChannel(int camera, int aov, mhChannel channel) try {
    if (Aov* record = AovAt(__func__, aovs_of(camera_at(__func__, camera)), aov))
        record->channel = channel;
}
MH_CATCH()

MH_API void mhSetCameraAOVUserData(int camera, int aov, const char* name) try {
    if (Aov* record = AovAt(__func__, aovs_of(camera_at(__func__, camera)), aov))
        SetText(__func__, name, record->user_data);
}
MH_CATCH()

} // extern "C"

} // namespace mh
