// Sums of frames.
// SPDX-License-Identifier: MIT
#include "integrate/frame_sums.h"

#include "integrate/output_images.h"
#include "integrate/state.h"
#include "math/at.h"
#include "math/random.h"
#include "math/threads.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "run/state.h"

#include <algorithm>

namespace mh {

namespace {

inline constexpr auto& Sums = IntegrateState.frame_sums;

// The values of a row of the region: where they begin in an image and in its sum, and how many.
struct RowOfValues {
    std::size_t in_image = 0, in_sum = 0, count = 0;
};

RowOfValues row_of(const Image& image, int y) {
    const auto channels = to_size(image.channels);
    const auto width = to_size(image.width);
    const auto first = to_size(Sums.region.x0), row = to_size(y);
    const auto columns = to_size(Sums.region.x1 - Sums.region.x0);
    const auto row_of_sum = to_size(y - Sums.region.y0);
    return {channels * (width * row + first), channels * columns * row_of_sum, channels * columns};
}

// Null for an image that has no sums.
const FrameSum* sum_of(const Image& image) {
    const auto sum = std::find_if(Sums.images.begin(), Sums.images.end(),
                                  [&](const FrameSum& one) { return one.image == &image; });
    return sum == Sums.images.end() ? nullptr : &*sum;
}

// Frames that a value is the mean of.
std::uint32_t divisor(const FrameSum& sum, std::size_t value) {
    if (sum.shows_sum) return 1;
    if (Sums.own_frames == nullptr) return Sums.frames;
    const std::size_t pixel = value / to_size(sum.image->channels);
    return static_cast<std::uint32_t>(to_double(Sums.own_frames->values[pixel]));
}

void show_row(const FrameSum& sum, int y, std::vector<float>& floats) {
    const RowOfValues row = row_of(*sum.image, y);
    for (std::size_t i = 0; i < row.count; ++i)
        floats[row.in_image + i] =
            mean_of(sum.values[row.in_sum + i], divisor(sum, row.in_sum + i));
}

void add_row(FrameSum& sum, int y) {
    const RowOfValues row = row_of(*sum.image, y);
    const float* values = &sum.image->floats[row.in_image];
    FixedPoint* sums = &sum.values[row.in_sum];
    const float per_sample = sum.per_sample;
    for (std::size_t i = 0; i < row.count; ++i)
        if (values[i] != 0.0f) add_float(sums[i], values[i] * per_sample, kLargestOfFrame);
}

// Hands the rows of the region to act(sum, y), on any thread.
template<typename Act>
void for_each_row(const Act& act) {
    const PixelRegion region = Sums.region;
#pragma omp parallel for schedule(static) num_threads(team_size()) default(none)                   \
    shared(region, act, IntegrateState)
    for (int y = region.y0; y < region.y1; ++y)
        for (FrameSum& sum : IntegrateState.frame_sums.images)
            act(sum, y);
}

bool has_size_of(const Camera& camera, const Image& image) {
    const auto pixels = grid_size(camera.width, camera.height);
    return image.width == camera.width && image.height == camera.height
           && image.floats.size() == pixels * to_size(image.channels);
}

} // namespace

void StartFrameSums() {
    const Camera* camera = ActiveCamera();
    if (camera == nullptr || !draws_from_seed() || sums_frames()) return;
    Sums = {RenderedRegion(*camera), 0, {}, nullptr};
    std::vector<FrameSum> sums;
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (!grows(filling) || !has_size_of(*camera, aov.image)) return;
        const auto channels = to_size(aov.image.channels);
        const bool is_share = filling == Filling::sum;
        sums.push_back({&aov.image, is_share ? static_cast<float>(camera->sample) : 1.0f,
                        filling == Filling::plane, !is_share,
                        std::vector<FixedPoint>(pixel_count(Sums.region) * channels)});
    });
    Sums.images = std::move(sums); // from here on no image holds shares
    if (!RendererSettings.adaptive || !keeps_planes()) return;
    for (const FrameSum& sum : Sums.images)
        if (sum.image == &PlaneSums.sums[0].image) Sums.own_frames = &sum;
}

bool sums_frames() {
    return !Sums.images.empty();
}

void clear_row(int y) {
    for (FrameSum& sum : Sums.images) {
        const RowOfValues row = row_of(*sum.image, y);
        std::fill_n(&sum.image->floats[row.in_image], row.count, 0.0f);
    }
}

void AddFrameToSums() {
    ++Sums.frames;
    for_each_row(add_row);
    for_each_row([](const FrameSum& sum, int y) {
        if (sum.shows_each_frame) show_row(sum, y, sum.image->floats);
    });
}

void ShowMeans() {
    for_each_row([](const FrameSum& sum, int y) { show_row(sum, y, sum.image->floats); });
}

Image MeansOf(const Image& image) {
    const FrameSum* sum = sum_of(image);
    if (sum == nullptr) return image;
    Image copy = EmptyCopy(image);
    for (int y = Sums.region.y0; y < Sums.region.y1; ++y)
        show_row(*sum, y, copy.floats);
    return copy;
}

bool ReadMeans(const Image& image, const PixelRegion& part, std::vector<float>& values) {
    const FrameSum* sum = sum_of(image);
    if (sum == nullptr) return false;
    const auto channels = to_size(image.channels);
    const auto columns = to_size(part.x1 - part.x0);
    values.assign(channels * columns * to_size(part.y1 - part.y0), 0.0f);
    const PixelRegion& region = Sums.region;
    const int x0 = std::max(part.x0, region.x0), x1 = std::min(part.x1, region.x1);
    if (x0 >= x1) return true;
    const std::size_t count = channels * to_size(x1 - x0);
    for (int y = std::max(part.y0, region.y0); y < std::min(part.y1, region.y1); ++y) {
        const std::size_t from = row_of(image, y).in_sum + channels * to_size(x0 - region.x0);
        const std::size_t to = channels * (columns * to_size(y - part.y0) + to_size(x0 - part.x0));
        for (std::size_t i = 0; i < count; ++i)
            values[to + i] = mean_of(sum->values[from + i], divisor(*sum, from + i));
    }
    return true;
}

float mean_of(const FixedPoint& sum, std::uint32_t frames) {
    return frames == 0 ? 0.0f : static_cast<float>(to_double(sum) / frames);
}

void ReleaseFrameSums() {
    Sums = {};
}

} // namespace mh
