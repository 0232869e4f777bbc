// Sums of frames.
// SPDX-License-Identifier: MIT
#include "integrate/frame_sums.h"

#include "integrate/exact_row.h"
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

// Where the values of a row of the region begin in an image.
std::size_t first_of_row(const Image& image, int y) {
    return to_size(image.channels) * (to_size(image.width) * to_size(y) + to_size(Sums.region.x0));
}

std::size_t values_of_row(const Image& image) {
    return to_size(image.channels) * to_size(Sums.region.x1 - Sums.region.x0);
}

std::size_t row_of_sum(int y) {
    return to_size(y - Sums.region.y0);
}

// Null for an image that has no sums.
const FrameSum* sum_of(const Image& image) {
    const auto sum = std::find_if(Sums.images.begin(), Sums.images.end(),
                                  [&](const FrameSum& one) { return one.image == &image; });
    return sum == Sums.images.end() ? nullptr : &*sum;
}

float mean_of(double sum, std::uint32_t frames) {
    return frames == 0 ? 0.0f : static_cast<float>(sum / frames);
}

// Means of `count` values of a row from this one on.
void read_row(const FrameSum& sum, int y, std::size_t first, std::size_t count, float* means) {
    const ExactRow& row = sum.rows[row_of_sum(y)];
    if (sum.shows_sum || Sums.own_frames == nullptr) {
        const std::uint32_t frames = sum.shows_sum ? 1 : Sums.frames;
        for (std::size_t i = 0; i < count; ++i)
            means[i] = mean_of(value_of(row, first + i), frames);
        return;
    }
    const ExactRow& own_frames = Sums.own_frames->rows[row_of_sum(y)];
    const auto channels = to_size(sum.image->channels);
    for (std::size_t i = 0; i < count; ++i) {
        const double frames = value_of(own_frames, (first + i) / channels);
        means[i] = mean_of(value_of(row, first + i), static_cast<std::uint32_t>(frames));
    }
}

void show_row(const FrameSum& sum, int y, std::vector<float>& floats) {
    read_row(sum, y, 0, values_of_row(*sum.image), &floats[first_of_row(*sum.image, y)]);
}

void add_row(FrameSum& sum, int y) {
    add_values(sum.rows[row_of_sum(y)], &sum.image->floats[first_of_row(*sum.image, y)],
               sum.per_sample);
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
        const bool is_share = filling == Filling::sum, is_plane = filling == Filling::plane;
        const std::size_t count = values_of_row(aov.image);
        const ExactRow empty = {std::vector<std::int64_t>(is_plane ? 0 : count),
                                {},
                                std::vector<double>(is_plane ? count : 0)};
        sums.push_back({&aov.image,
                        is_share ? static_cast<float>(camera->sample) : 1.0f,
                        is_plane,
                        !is_share,
                        {to_size(Sums.region.y1 - Sums.region.y0), empty}});
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
    for (FrameSum& sum : Sums.images)
        std::fill_n(&sum.image->floats[first_of_row(*sum.image, y)], values_of_row(*sum.image),
                    0.0f);
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
    const std::size_t first = channels * to_size(x0 - region.x0);
    const std::size_t count = channels * to_size(x1 - x0);
    for (int y = std::max(part.y0, region.y0); y < std::min(part.y1, region.y1); ++y) {
        const std::size_t to = channels * (columns * to_size(y - part.y0) + to_size(x0 - part.x0));
        read_row(*sum, y, first, count, &values[to]);
    }
    return true;
}

float mean_of(const FixedPoint& sum, std::uint32_t frames) {
    return mean_of(to_double(sum), frames);
}

void ReleaseFrameSums() {
    Sums = {};
}

} // namespace mh
