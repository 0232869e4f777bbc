// Cameras: poses, motion and the geometry of primary rays.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "math/at.h"
#include "output/state.h"
#include "run/state.h"

#include <algorithm>
#include <string>

namespace mh {

// Defaults, with the one AOV "beauty.hdr".
void ResetCamera(Camera& camera);

int AddCamera();

// The rendered camera; null when there is none.
inline Camera* ActiveCamera() {
    Camera* const camera = Cameras.data() + ActiveCameraIndex; // asked per hit: no division
    return camera < Cameras.data() + Cameras.size() ? camera : nullptr;
}

// Frames of the run, over which the gather rays and light samples of a point are spread; 1
// without a camera.
inline int camera_frames() {
    const Camera* camera = ActiveCamera();
    return camera == nullptr ? 1 : std::max(camera->sample, 1);
}

// The part of the camera's picture that is rendered; all 0 when it contains no pixels.
PixelRegion RenderedRegion(const Camera& camera);

std::size_t pixel_count(const PixelRegion& region);

// Frame of the run whose points the ray's path takes: the first index of loops that are shared
// among frames.
inline std::uint32_t frame_of(const Ray& ray) {
    return ThreadStates[ray.thread].frame;
}

// Brings the number of frames and the region into their limits; the image's size is given.
void LimitCamera(Camera& camera);

// Why images of the camera's size cannot be held, or an empty text.
std::string SizeFault(const Camera& camera);

// Clamps, derives frames, allocates the AOVs and reports.
void InitializeCamera(Camera& camera);
void InitializeCameras();

// Writes all AOVs and resets, from the last camera to the first; then empties the table.
void FinalizeCameras();

// A camera whose poses were never set sees the whole scene: from the front, the right and above,
// with y upwards, as most programs write meshes. The scene is the sphere around center.
void FrameScene(Camera& camera, const Vec3& center, float radius);

// Frame, matrix and distances from position, target and up vector; width in pixels.
void BuildCameraFrame(CameraPose& pose, float width);

// Pose at t in [0, 1] between the two of the camera.
void InterpolateCameraPose(const Camera& camera, float t, CameraPose& pose);

// Pose of a frame: t = (0.5 + frame) / sample. The same for all its pixels.
CameraPose FramePose(const Camera& camera, std::uint32_t frame);

// Direction through the point (x + jitter.x, y + jitter.y) of the image, in pixels from the top
// left; zero when it would not be finite.
Vec3 primary_direction(const Camera& camera, const CameraPose& pose, int x, int y,
                       const Vec2& jitter);

} // namespace mh
