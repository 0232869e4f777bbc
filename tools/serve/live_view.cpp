// Frames of the view.
// SPDX-License-Identifier: MIT
#include "serve/live_view.h"

#include "frame/phases.h"
#include "integrate/noise.h"
#include "integrate/progressive.h"
#include "integrate/renderer.h"
#include "integrate/whole_frames.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/state.h"
#include "run/state.h"
#include "run_control.h"
#include "serve/drift_noise.h"
#include "serve/live_images.h"
#include "serve/live_status.h"

#include <algorithm>

namespace mh {

namespace {

constexpr int kCoarsestPixels = 15000; // of the first picture of a view
constexpr int kCoarsestScale = 8;
constexpr double kSecondsOfMicrosecond = 1e-6;

struct View {
    std::string output_dir;
    Camera scene_camera; // as the scene and the options say
    Camera camera;       // as it has been moved, for the whole picture
    DriftNoise drift;
    double start_s = 0.0;
    bool first_frame_is_done = false; // of the scene
    bool is_changed = false;          // the view is not the scene's
};

View view;

void first_frame_done() {
    if (view.first_frame_is_done) return;
    view.first_frame_is_done = true;
    StepsOfFrames().first_frame_done();
}

void do_nothing() {}

// Pixels of a side at a coarser scale, rounded so that every pixel of the picture is covered.
int coarser(int side, int scale) {
    return (side + scale - 1) / scale;
}

void set_camera_scale(int scale) {
    const Camera& whole = view.camera;
    Camera& camera = *ActiveCamera();
    camera.width = coarser(whole.width, scale);
    camera.height = coarser(whole.height, scale);
    camera.region_x0 = whole.region_x0 / scale;
    camera.region_y0 = whole.region_y0 / scale;
    camera.region_x1 = coarser(std::min(whole.region_x1, whole.width), scale);
    camera.region_y1 = coarser(std::min(whole.region_y1, whole.height), scale);
    camera.sample = whole.sample * scale; // a coarse frame takes fewer of the rays of a pixel
    camera.poses = whole.poses;
    LimitCamera(camera);
    for (CameraPose& pose : camera.poses)
        BuildCameraFrame(pose, static_cast<float>(camera.width));
}

void clear_images() {
    const Camera& camera = *ActiveCamera();
    for (const LiveImage& image : LiveImages())
        if (image.filling != Filling::complete)
            AllocateAov(*image.aov, camera.width, camera.height);
    AllocatePlanes(camera);
}

void set_scale(int scale) {
    SetImageState(ImageState::closed);
    ReleaseWholeFrames();
    set_camera_scale(scale);
    clear_images();
}

// Starts the frames of the view at a scale.
void begin_scale(int scale, void (*after_first_frame)()) {
    set_scale(scale);
    FrameSteps steps = StepsOfFrames();
    steps.first_frame_done = after_first_frame;
    steps.finish_lights = do_nothing;
    BeginFrames(steps);
    view.drift = {};
    view.start_s = seconds_running();
    SetLiveView({StatusNow().generation, scale, 0});
    SetImageState(ImageState::open);
    UpdateStatus([&](LiveStatus& status) {
        status.scale = scale;
        status.frames = 0;
        status.frames_expected = static_cast<std::uint32_t>(view.camera.sample);
        status.noise = 0.0;
        status.region = RenderedRegion(view.camera);
        status.camera = CameraBlockText(view.camera, view.output_dir);
    });
}

void note_frame() {
    const std::uint32_t done = FrameIndex;
    CountLiveFrames(done);
    const double seconds =
        static_cast<double>(RayStatistics.render_microseconds) * kSecondsOfMicrosecond;
    FollowNoise(done);
    FollowDrift(view.drift, ActiveCamera()->aovs[0].image, done);
    const double followed = followed_noise();
    UpdateNumbers([&](LiveStatus& status) {
        status.frames = done;
        status.rays_per_second = static_cast<double>(RayStatistics.render_rays)
                                 / std::max(seconds, kSecondsOfMicrosecond);
        status.elapsed_s = seconds_running() - view.start_s;
        if (status.scale > 1) return;
        const double expected = std::max(frames_expected(), static_cast<double>(done));
        status.frames_expected = static_cast<std::uint32_t>(expected);
        status.remaining_s = status.elapsed_s / done * (expected - done);
        status.noise = followed > 0.0 ? followed : NoiseNow(view.drift, done);
    });
}

} // namespace

int FirstScale(int width, int height) {
    int scale = kCoarsestScale;
    while (scale > 1 && coarser(width, scale) * coarser(height, scale) < kCoarsestPixels)
        scale /= 2;
    return scale;
}

void ShowScene(const std::string& output_dir) {
    view = {};
    view.output_dir = output_dir;
    view.camera = *ActiveCamera();
    for (Aov& aov : view.camera.aovs)
        aov.image.floats = {};
    view.scene_camera = view.camera;
    FindLiveImages();
    UpdateStatus([](LiveStatus& status) {
        ++status.generation;
        status.width = view.camera.width;
        status.height = view.camera.height;
        status.images.clear();
        for (const LiveImage& image : LiveImages())
            status.images.push_back(image.name);
    });
}

// Photons need the images at their own size again.
void ShowBeforePhotons() {
    PrepareForPaths();
    begin_scale(FirstScale(view.camera.width, view.camera.height), do_nothing);
    if (AddFrame()) {
        CountLiveFrames(FrameIndex);
        KeepCoarseImages();
    }
    FrameIndex = 0;
    set_scale(1);
    SetLiveView({StatusNow().generation, 1, 0});
}

void BeginView() {
    const int scale = has_viewers() ? FirstScale(view.camera.width, view.camera.height) : 1;
    UpdateNumbers([&](LiveStatus& status) {
        ++status.generation;
        status.coarsest = scale;
        status.stage = LiveStage::rendering;
    });
    begin_scale(scale, first_frame_done);
}

void ChangeView(const Requests& requests) {
    Camera& camera = view.camera;
    if (requests.reset_camera) camera.poses = view.scene_camera.poses;
    for (const CameraMove& move : requests.moves)
        MoveCamera(camera, move);
    if (requests.reset_region || requests.region) {
        const Camera& scene = view.scene_camera;
        const PixelRegion region = requests.region ? *requests.region
                                                   : PixelRegion{scene.region_x0, scene.region_y0,
                                                                 scene.region_x1, scene.region_y1};
        camera.region_x0 = region.x0;
        camera.region_y0 = region.y0;
        camera.region_x1 = region.x1;
        camera.region_y1 = region.y1;
    }
    const bool moved = !requests.moves.empty() || requests.region;
    const bool reset = requests.reset_camera || requests.reset_region;
    view.is_changed = moved || (view.is_changed && !reset);
}

bool is_changed_view() {
    return view.is_changed;
}

bool AddViewFrame() {
    const int scale = StatusNow().scale;
    if (!AddFrame()) return false;
    note_frame();
    if (scale == 1) return true;
    KeepCoarseImages();
    begin_scale(scale / 2, first_frame_done);
    return true;
}

bool view_is_done() {
    if (StatusNow().scale > 1) return false;
    return FrameIndex >= static_cast<std::uint32_t>(camera_frames()) || target_is_reached();
}

bool can_write() {
    return FrameIndex > 0 && StatusNow().scale == 1;
}

void HoldUp(double seconds) {
    view.start_s += seconds;
}

void CloseView() {
    SetImageState(ImageState::closed);
    ForgetLiveImages();
    ReleaseWholeFrames();
}

} // namespace mh
