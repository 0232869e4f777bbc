// The frame: primary rays of all pixels, in parallel over rows. A pixel belongs to one thread, so
// that nothing on the way is locked.
// SPDX-License-Identifier: MIT
#include "integrate/pixel_loop.h"

#include "integrate/adaptive.h"
#include "integrate/features.h"
#include "integrate/frame_order.h"
#include "integrate/frame_sums.h"
#include "integrate/noise.h"
#include "integrate/radiance.h"
#include "integrate/run_context.h"
#include "integrate/shared_bounces.h"
#include "integrate/whole_frames.h"
#include "math/at.h"
#include "math/clock.h"
#include "math/hash.h"
#include "math/random.h"
#include "math/stop.h"
#include "math/threads.h"
#include "math/work_done.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/state.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

// Of a frame: the points that its paths take, and where the camera is.
struct Moment {
    Turn turn;
    CameraPose pose;
    std::uint64_t seed = 0; // of the exact estimator's points
    StretchPlace place;     // of the frame, in all pixels
};

FrameOrder frame_order() {
    if (!keeps_planes()) return FrameOrder::plain;
    return RendererSettings.adaptive ? FrameOrder::growing : FrameOrder::halves;
}

// Where a plan gives a pixel more frames than the run has, it goes on with the stretches of its
// neighbours on the curve: together these are one longer set.
Moment moment_of(const Camera& camera, std::uint32_t n) {
    const auto frames = static_cast<std::uint32_t>(camera.sample);
    const Turn turn = turn_of(n, frames, frame_order());
    const std::uint32_t point = turn.round * frames + turn.frame;
    return {turn, FramePose(camera, turn.moment), static_cast<std::uint64_t>(RendererSettings.seed),
            place_in_stretch(point, frames)};
}

// A row of pixels of a frame, and the tile of it that is being rendered.
struct RowOfFrame {
    const Moment& now;
    int y = 0;
    CurveRow curve;
};

// The cursor of a pixel's path, and the place of its ray within the pixel. Rounds of
// the classic estimator are rotated on by the golden section.
SampleCursor first_cursor(const RowOfFrame& row, int x, Vec2& jitter) {
    if (is_exact()) {
        const SampleCursor cursor = pixel_cursor(row.curve, x, row.now.place);
        jitter = place_in_pixel(row.curve, cursor);
        return cursor;
    }
    constexpr float kGoldenSection = 0.618034f;
    const Vec2 rotation = PixelPattern[kPatternSize * (row.y % kPatternSize) + x % kPatternSize];
    const float further = std::fmod(kGoldenSection * static_cast<float>(row.now.turn.round), 1.0f);
    jitter.x = random_unit();
    jitter.y = random_unit();
    return {.rotation_u = rotate_unit(rotation.x, further),
            .rotation_v = rotate_unit(rotation.y, further)};
}

inline Ray primary_ray(const Camera& camera, const RowOfFrame& row, int x, std::int64_t pixel) {
    Ray ray;
    Vec2 jitter;
    ray.thread = static_cast<std::uint8_t>(thread_number());
    ThreadStates[ray.thread].pixel = static_cast<std::int32_t>(pixel);
    ThreadStates[ray.thread].frame = row.now.turn.frame;
    ray.cursor = first_cursor(row, x, jitter);
    ray.origin = row.now.pose.position;
    ray.direction = primary_direction(camera, row.now.pose, x, row.y, jitter);
    ray.refraction = camera.ior;
    ray.sample_divisor = camera.sample;
    return ray;
}

// Of a sample that is not finite. An infinite channel counts as the clamp, where one was chosen.
float clamped_channel(float value, float limit, bool& lost) {
    if (std::isfinite(value) || (value > limit && limit < kFar)) return std::min(value, limit);
    lost = true;
    return 0.0f;
}

Vec3 clamped(const Vec3& value) {
    const Vec3 limit = RendererSettings.clamp;
    if (is_finite(value)) return min(value, limit);
    bool lost = false;
    const Vec3 clamped = {clamped_channel(value.x, limit.x, lost),
                          clamped_channel(value.y, limit.y, lost),
                          clamped_channel(value.z, limit.z, lost)};
    if (lost) Hooks.samples_not_finite.fetch_add(1, std::memory_order_relaxed);
    return clamped;
}

// A pixel's value in this frame, and what its path has met.
struct PixelSample {
    Vec3 value;
    FeatureSample features;
    float rays = 0.0f; // with shadow rays
};

std::uint64_t rays_of(const ThreadState& thread) {
    return thread.rays + thread.shadow_rays;
}

// The path of a pixel, noted in `bounce` if there is one. What is not stored leaves nothing in
// images.
PixelSample path_sample(const Camera& camera, const RowOfFrame& row, int x, bool stored = true,
                        SharedBounce* bounce = nullptr) {
    constexpr std::int32_t kNoPixel = std::numeric_limits<std::int32_t>::max();
    const auto frames = static_cast<std::uint64_t>(camera.sample);
    const Turn& turn = row.now.turn;
    const std::int64_t pixel = pixel_index(camera, x, row.y);
    start_stream(Stream::pixel, turn.round * frames + turn.frame,
                 static_cast<std::uint64_t>(pixel));
    Ray ray = primary_ray(camera, row, x, pixel);
    if (!stored) ThreadStates[ray.thread].pixel = kNoPixel;
    begin_features(ray.thread);
    note_bounces_in(ray.thread, bounce);
    const ThreadState& thread = ThreadStates[ray.thread];
    const std::uint64_t rays_before = rays_of(thread);
    const Vec3 value = radiance(ray);
    note_bounces_in(ray.thread, nullptr);
    return {value, take_features(ray.thread), static_cast<float>(rays_of(thread) - rays_before)};
}

// What sharing changes may bring a value below 0 by rounding alone.
void change(Camera& camera, std::int64_t pixel, const Vec3& light, PixelSample& sample) {
    add_lambertian_light(camera, pixel, light);
    sample.value = clamped(max(sample.value + light, min(sample.value, Vec3{})));
}

bool is_inside(const PixelRegion& region, int x) {
    return x >= region.x0 && x < region.x1;
}

// Two pixels of a row that share their bounces, of which those in the region are stored: so a
// pixel's value does not depend on the region.
template<typename Store>
void render_pair(Camera& camera, const RowOfFrame& row, const PixelRegion& region, int x,
                 const Store& store) {
    SharedBounce first_bounce, second_bounce;
    PixelSample first = path_sample(camera, row, x, is_inside(region, x), &first_bounce);
    PixelSample second = path_sample(camera, row, x + 1, is_inside(region, x + 1), &second_bounce);
    Vec3 first_change, second_change;
    share_bounces(first_bounce, second_bounce, first_change, second_change);
    const auto finish = [&](int column, const Vec3& light, PixelSample& sample) {
        if (!is_inside(region, column)) return;
        change(camera, pixel_index(camera, column, row.y), light, sample);
        store(column, row.y, sample);
    };
    finish(x, first_change, first);
    finish(x + 1, second_change, second);
}

template<typename Store>
void render_row(Camera& camera, const Moment& now, const PixelRegion& region, int y, bool sharing,
                const Store& store) {
    const int begin = sharing ? region.x0 & ~1 : region.x0;
    RowOfFrame row = {now, y, curve_row(now.seed, begin, y)};
    for (int x = begin; x < region.x1; ++x) {
        if (x % kCurveTile == 0) row.curve = curve_row(now.seed, x, y);
        if (sharing && x + 1 < camera.width) {
            render_pair(camera, row, region, x++, store);
            continue;
        }
        PixelSample sample = path_sample(camera, row, x);
        sample.value = clamped(sample.value);
        store(x, y, sample);
    }
}

// Of `done` values and one more. The products of large values overflow, their shares do not.
Vec3 mean_with(const Vec3& mean, float done, const Vec3& value) {
    const Vec3 next = (done * mean + value) / (done + 1.0f);
    return is_finite(next) ? next : mean * (done / (done + 1.0f)) + value / (done + 1.0f);
}

// Runs act(i) for i in 0..count - 1, in parallel, and adds to RayStatistics.
template<typename Act>
void in_parallel(int count, const Act& act) {
    const std::int64_t start = microseconds_now();
    FrameWork.begin(count);
#pragma omp parallel num_threads(team_size()) default(none) shared(count, act, FrameWork)
    {
        EnterWorker();
#pragma omp for schedule(dynamic, 1)
        for (int i = 0; i < count; ++i) {
            act(i);
            FrameWork.add(1);
            if (stop_requested()) cut_frame();
        }
    }
    RayStatistics.render_microseconds += microseconds_now() - start;
    const RayCounts counts = TakeRayCounts();
    RayStatistics.render_rays += counts.rays;
    RayStatistics.render_shadow_rays += counts.shadow_rays;
    ReportCutPaths();
}

// Hands each pixel of the region to store(x, y, sample), on any thread.
template<typename Store>
void render_region(Camera& camera, const PixelRegion& region, std::uint32_t frame,
                   const Store& store) {
    const Moment now = moment_of(camera, frame);
    const bool sharing = can_share_bounces();
    FindFirstHitImages(camera);
    in_parallel(region.y1 - region.y0, [&](int row) {
        keep_row(region.y0 + row);
        render_row(camera, now, region, region.y0 + row, sharing, store);
    });
}

// Adds frame n of the pixel to its others, or, where frames are summed elsewhere, to what else this
// frame gives it.
void fold(Image& beauty, std::int64_t pixel, std::uint32_t n, const PixelSample& sample) {
    const Vec3 before = read_pixel(beauty, pixel);
    write_pixel(beauty, pixel,
                sums_frames() ? before + sample.value
                              : mean_with(before, static_cast<float>(n), sample.value));
    if (keeps_planes()) add_frame(pixel, n, sample.value, sample.features);
    if (counts_rays()) at(rays_cast(), pixel) += sample.rays;
}

// What a block of pixels takes of this frame.
void render_block(Camera& camera, const PixelRegion& block, const BlockTurn& turn) {
    for (int y = block.y0; y < block.y1; ++y)
        for (int x = block.x0; x < block.x1; ++x)
            at(frames_wanted(), pixel_index(camera, x, y)) += turn.wanted_more;
    const bool sharing = can_share_bounces();
    for (std::uint32_t n = turn.done; n < turn.done + turn.more; ++n) {
        const Moment now = moment_of(camera, frame_of_camera(camera, n));
        for (int y = block.y0; y < block.y1; ++y)
            render_row(camera, now, block, y, sharing,
                       [&](int x, int row, const PixelSample& sample) {
                           fold(camera.aovs[0].image, pixel_index(camera, x, row), n, sample);
                       });
    }
}

// A frame of which each block takes as much as it needs.
void render_blocks(Camera& camera, const PixelRegion& region, std::uint32_t frame) {
    const std::vector<BlockTurn> turns = PlanFrame(frame);
    FindFirstHitImages(camera);
    for (int y = region.y0; y < region.y1; ++y)
        keep_row(y);
    in_parallel(static_cast<int>(turns.size()), [&](int i) {
        const PixelRegion block = block_of(camera, i);
        if (pixel_count(block) > 0) render_block(camera, block, at(turns, i));
    });
}

} // namespace

void RenderPixels(std::uint32_t frame) {
    Camera* camera = camera_with_image();
    if (camera == nullptr) return;
    const PixelRegion region = RenderedRegion(*camera);
    if (is_shared_out(frame)) return render_blocks(*camera, region, frame);
    Image& beauty = camera->aovs[0].image;
    render_region(*camera, region, frame, [&](int x, int y, const PixelSample& sample) {
        fold(beauty, pixel_index(*camera, x, y), frame, sample);
    });
}

void RenderPixelsTo(std::vector<Vec3>& pixels, std::uint32_t frame) {
    pixels.clear();
    Camera* camera = camera_with_image();
    if (camera == nullptr) return;
    const PixelRegion region = RenderedRegion(*camera);
    const auto width = to_size(region.x1 - region.x0);
    pixels.resize(width * to_size(region.y1 - region.y0));
    Image& beauty = camera->aovs[0].image;
    const float frames = static_cast<float>(camera_frames());
    render_region(*camera, region, frame, [&](int x, int y, const PixelSample& sample) {
        const auto row = to_size(y - region.y0);
        pixels[width * row + to_size(x - region.x0)] = sample.value;
        const std::int64_t pixel = pixel_index(*camera, x, y);
        const Vec3 sum = read_pixel(beauty, pixel) + sample.value / frames;
        if (is_finite(sum)) write_pixel(beauty, pixel, sum);
    });
}

} // namespace mh
