// The frame: primary rays of all pixels, in parallel over rows. A pixel belongs to one thread, so
// that nothing on the way is locked.
// SPDX-License-Identifier: MIT
#include "integrate/pixel_loop.h"

#include "integrate/features.h"
#include "integrate/frame_sums.h"
#include "integrate/radiance.h"
#include "integrate/run_context.h"
#include "integrate/whole_frames.h"
#include "math/clock.h"
#include "math/random.h"
#include "math/stop.h"
#include "math/threads.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/state.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

// The camera when its beauty image stands ready.
Camera* camera_with_image() {
    Camera* camera = ActiveCamera();
    if (camera == nullptr || camera->aovs.empty()) return nullptr;
    const Image& image = camera->aovs[0].image;
    return image.width == camera->width && image.height == camera->height ? camera : nullptr;
}

std::int64_t pixel_index(const Camera& camera, int x, int y) {
    return static_cast<std::int64_t>(camera.width) * y + x;
}

// The cursor of a pixel's path, and the place of its ray within the pixel.
SampleCursor first_cursor(const Camera& camera, int x, int y, Vec2& jitter) {
    if (is_exact()) {
        const SampleCursor cursor =
            pixel_cursor(static_cast<std::uint64_t>(RendererSettings.seed), x, y, CurrentSample,
                         static_cast<std::uint32_t>(camera.sample));
        jitter = draw_pair(cursor, Draw::pixel);
        return cursor;
    }
    const Vec2 rotation = PixelPattern[kPatternSize * (y % kPatternSize) + x % kPatternSize];
    jitter.x = random_unit();
    jitter.y = random_unit();
    return {.rotation_u = rotation.x, .rotation_v = rotation.y};
}

Ray primary_ray(const Camera& camera, const CameraPose& pose, int x, int y) {
    Ray ray;
    Vec2 jitter;
    ray.cursor = first_cursor(camera, x, y, jitter);
    ray.origin = pose.position;
    ray.direction = primary_direction(camera, pose, x, y, jitter);
    ray.refraction = camera.ior;
    ray.sample_divisor = camera.sample;
    ray.thread = static_cast<std::uint8_t>(thread_number());
    ThreadStates[ray.thread].pixel = static_cast<std::int32_t>(pixel_index(camera, x, y));
    return ray;
}

// Of a sample that is not finite. An infinite channel counts as the clamp, where one was chosen.
float clamped_channel(float value, float limit, bool& lost) {
    if (std::isfinite(value) || (value > limit && limit < kFar)) return std::min(value, limit);
    lost = true;
    return 0.0f;
}

Vec3 pixel_value(const Camera& camera, const CameraPose& pose, int x, int y) {
    start_stream(Stream::pixel, CurrentSample,
                 static_cast<std::uint64_t>(pixel_index(camera, x, y)));
    Ray ray = primary_ray(camera, pose, x, y);
    begin_features(ray.thread);
    const Vec3 value = radiance(ray), limit = RendererSettings.clamp;
    if (is_finite(value)) return min(value, limit);
    bool lost = false;
    const Vec3 clamped = {clamped_channel(value.x, limit.x, lost),
                          clamped_channel(value.y, limit.y, lost),
                          clamped_channel(value.z, limit.z, lost)};
    if (lost) Hooks.samples_not_finite.fetch_add(1, std::memory_order_relaxed);
    return clamped;
}

// Of `done` values and one more. The products of large values overflow, their shares do not.
Vec3 mean_with(const Vec3& mean, float done, const Vec3& value) {
    const Vec3 next = (done * mean + value) / (done + 1.0f);
    return is_finite(next) ? next : mean * (done / (done + 1.0f)) + value / (done + 1.0f);
}

// Hands the value of each pixel of the region to store(x, y, value), on any thread.
template<typename Store>
void render_region(const Camera& camera, const PixelRegion& region, std::uint32_t frame,
                   const Store& store) {
    const std::int64_t start = microseconds_now();
    const CameraPose pose = FramePose(camera, frame);
    CurrentSample = frame;
#pragma omp parallel num_threads(team_size()) default(none) shared(camera, region, pose, store)
    {
        EnterWorker();
#pragma omp for schedule(dynamic, 1)
        for (int y = region.y0; y < region.y1; ++y) {
            keep_row(y);
            for (int x = region.x0; x < region.x1; ++x)
                store(x, y, pixel_value(camera, pose, x, y));
            if (stop_requested()) cut_frame();
        }
    }
    RayStatistics.render_microseconds += microseconds_now() - start;
    const RayCounts counts = TakeRayCounts();
    RayStatistics.render_rays += counts.rays;
    RayStatistics.render_shadow_rays += counts.shadow_rays;
    ReportCutPaths();
}

} // namespace

void RenderPixels(std::uint32_t frame) {
    Camera* camera = camera_with_image();
    if (camera == nullptr) return;
    Image& beauty = camera->aovs[0].image;
    const bool alone = sums_frames();
    const float done = static_cast<float>(frame);
    render_region(*camera, RenderedRegion(*camera), frame, [&](int x, int y, const Vec3& value) {
        const std::int64_t pixel = pixel_index(*camera, x, y);
        const Vec3 before = read_pixel(beauty, pixel);
        write_pixel(beauty, pixel, alone ? value : mean_with(before, done, value));
        if (keeps_planes()) add_frame(pixel, value, take_features(thread_number()));
    });
}

void RenderPixelsTo(std::vector<Vec3>& pixels, std::uint32_t frame) {
    pixels.clear();
    Camera* camera = camera_with_image();
    if (camera == nullptr) return;
    const PixelRegion region = RenderedRegion(*camera);
    const auto width = static_cast<std::size_t>(region.x1 - region.x0);
    pixels.resize(width * static_cast<std::size_t>(region.y1 - region.y0));
    Image& beauty = camera->aovs[0].image;
    const float frames = static_cast<float>(camera_frames());
    render_region(*camera, region, frame, [&](int x, int y, const Vec3& value) {
        const auto row = static_cast<std::size_t>(y - region.y0);
        pixels[width * row + static_cast<std::size_t>(x - region.x0)] = value;
        const std::int64_t pixel = pixel_index(*camera, x, y);
        const Vec3 sum = read_pixel(beauty, pixel) + value / frames;
        if (is_finite(sum)) write_pixel(beauty, pixel, sum);
    });
}

} // namespace mh
