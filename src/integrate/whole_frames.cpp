// Rows of the images, kept before a frame changes them.
// SPDX-License-Identifier: MIT
#include "integrate/whole_frames.h"

#include "integrate/frame_sums.h"
#include "integrate/output_images.h"
#include "integrate/state.h"
#include "math/at.h"
#include "output/run_hooks.h"
#include "output/state.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace mh {

namespace {

constexpr auto& current = CurrentFrame;

std::size_t row_values(const Image& image) {
    return to_size(image.width) * to_size(image.channels);
}

void copy_row(const Image& image, std::size_t y, const std::vector<float>& from,
              std::vector<float>& to) {
    const std::size_t count = row_values(image), first = y * count;
    if (first + count <= from.size()) std::copy_n(&from[first], count, &to[first]);
}

void put_back(const KeptImage& kept) {
    for (std::size_t y = 0; y < current.row_is_kept.size(); ++y)
        if (current.row_is_kept[y]) copy_row(*kept.image, y, kept.floats, kept.image->floats);
}

// Other threads write to the rows that are kept.
Image copy_during_frame(const KeptImage& kept) {
    Image copy = EmptyCopy(*kept.image);
    for (std::size_t y = 0; y < current.row_is_kept.size(); ++y)
        copy_row(copy, y, current.row_is_kept[y] ? kept.floats : kept.image->floats, copy.floats);
    return copy;
}

// Null for an image that frames do not change.
const KeptImage* find_kept(const Image& image) {
    for (const KeptImage& kept : current.images)
        if (kept.image == &image) return &kept;
    return nullptr;
}

void find_images() {
    ForEachOutput([](Aov& aov, Filling filling) {
        if (!grows(filling)) return;
        current.images.push_back({&aov.image, std::vector<float>(aov.image.floats.size())});
    });
}

} // namespace

void BeginFrame() {
    current.cut = false;
    if (!Hooks.drops_cut_frames) return;
    const std::lock_guard guard(current.lock);
    current.under_way = true;
    if (sums_frames()) return; // these stay as the last whole frame left them
    if (current.images.empty()) find_images();
    int height = 0;
    for (const KeptImage& kept : current.images)
        height = std::max(height, kept.image->height);
    current.row_is_kept.assign(to_size(height), false);
}

void keep_row(int y) {
    if (sums_frames()) return clear_row(y);
    if (!current.under_way) return;
    const auto row = to_size(y);
    for (KeptImage& kept : current.images)
        copy_row(*kept.image, row, kept.image->floats, kept.floats);
    const std::lock_guard guard(current.lock);
    current.row_is_kept[row] = true;
}

void cut_frame() {
    current.cut = true;
}

bool EndFrame() {
    const std::lock_guard guard(current.lock);
    if (sums_frames())
        current.cut ? ShowMeans() : AddFrameToSums();
    else if (current.under_way && current.cut)
        for (const KeptImage& kept : current.images)
            put_back(kept);
    current.row_is_kept.clear();
    current.under_way = false;
    return !current.cut;
}

bool DuringFrame(const std::function<void()>& act) {
    const std::lock_guard guard(current.lock);
    if (current.under_way) act();
    return current.under_way;
}

Image OfWholeFrames(const Image& image) {
    if (sums_frames()) return MeansOf(image);
    const KeptImage* kept = current.under_way ? find_kept(image) : nullptr;
    return kept != nullptr ? copy_during_frame(*kept) : image;
}

void ReadWholeFrames(const Image& image, const PixelRegion& part, std::vector<float>& values) {
    if (sums_frames() && ReadMeans(image, part, values)) return;
    const KeptImage* kept = current.under_way ? find_kept(image) : nullptr;
    const auto channels = to_size(image.channels);
    const std::size_t count = channels * to_size(part.x1 - part.x0);
    values.resize(count * to_size(part.y1 - part.y0));
    float* to = values.data();
    for (int y = part.y0; y < part.y1; ++y, to += count) {
        const auto row = to_size(y);
        const bool is_kept = kept != nullptr && current.row_is_kept[row];
        const std::vector<float>& from = is_kept ? kept->floats : image.floats;
        std::copy_n(&from[row * row_values(image) + channels * to_size(part.x0)], count, to);
    }
}

void ReleaseWholeFrames() {
    current.images = {};
    ReleaseFrameSums();
}

} // namespace mh
