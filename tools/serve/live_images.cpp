// Images of a render that goes on.
// SPDX-License-Identifier: MIT
#include "serve/live_images.h"

#include "integrate/plane_images.h"
#include "integrate/whole_frames.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "run/state.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <filesystem>
#include <mutex>

namespace mh {

namespace {

// Made from sums of the frames while somebody looks at it.
struct DerivedImage {
    const Aov* aov = nullptr;
    Aov copy;
    LiveView of;
};

struct Shown {
    std::mutex lock;
    ImageState state = ImageState::closed;
    LiveView view;
    std::vector<LiveImage> images;
    LiveView coarse_view; // without frames: there is none
    std::vector<Aov> coarse_aovs;
    std::vector<LiveImage> coarse_images;
    std::vector<DerivedImage> derived;
};

Shown shown;

bool shows_coarse() {
    return shown.coarse_view.frames > 0 && shown.view.frames == 0;
}

// What the values of an image that holds shares are to be multiplied by.
std::vector<float> frames_of_pixels(const PixelRegion& part) {
    std::vector<float> frames;
    ReadWholeFrames(PlaneSums.sums[0].image, part, frames);
    return frames;
}

void scale_shares(std::vector<float>& values, const PixelRegion& part) {
    const auto sample = static_cast<float>(camera_frames());
    if (RendererSettings.adaptive && keeps_planes()) {
        const std::vector<float> frames = frames_of_pixels(part);
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] *= sample / std::max(frames[i / 3], 1.0f);
        return;
    }
    const float factor = sample / static_cast<float>(std::max(FrameIndex, 1u));
    for (float& value : values)
        value *= factor;
}

bool is_current(const LiveView& of) {
    const LiveView& now = shown.view;
    if (of.generation != now.generation || of.scale != now.scale) return false;
    return of.frames == now.frames
           || (shown.state == ImageState::open && !is_worth_showing(of.frames, now.frames));
}

const Image& derived_image(const Aov& aov) {
    auto place = std::find_if(shown.derived.begin(), shown.derived.end(),
                              [&](const DerivedImage& image) { return image.aov == &aov; });
    if (place == shown.derived.end()) place = shown.derived.insert(place, {&aov, {}, {}});
    if (place->copy.image.floats.empty() || !is_current(place->of)) {
        place->copy = aov;
        place->of = shown.view;
        ShowPlanes(place->copy);
    }
    return place->copy.image;
}

} // namespace

void FindLiveImages() {
    const std::lock_guard guard(shown.lock);
    shown.images.clear();
    const Camera* active = ActiveCamera();
    if (active == nullptr) return;
    ForEachOutput([&](Aov& aov, Filling filling) {
        const bool is_first = &aov == active->aovs.data();
        const bool is_of_view = aov.image.width == active->width;
        const bool is_shown =
            grows(filling) || filling == Filling::derived || holds(aov, Channel::light_path);
        if (filling == Filling::plane || !is_shown || !is_of_view || aov.image.floats.empty())
            return;
        const std::string name = std::filesystem::path(aov.image.path).filename().string();
        if (!name.empty() || is_first)
            shown.images.push_back({&aov, filling, name.empty() ? "beauty" : name});
    });
}

void ForgetLiveImages() {
    const std::lock_guard guard(shown.lock);
    shown.images.clear();
    shown.derived.clear();
    shown.coarse_view = {};
}

std::vector<LiveImage> LiveImages() {
    const std::lock_guard guard(shown.lock);
    return shown.images;
}

void SetImageState(ImageState state) {
    const std::lock_guard guard(shown.lock);
    shown.state = state;
}

void SetLiveView(const LiveView& view) {
    const std::lock_guard guard(shown.lock);
    shown.view = view;
}

void CountLiveFrames(std::uint32_t frames) {
    const std::lock_guard guard(shown.lock);
    shown.view.frames = frames;
}

void KeepCoarseImages() {
    const std::lock_guard guard(shown.lock);
    shown.coarse_view = shown.view;
    shown.coarse_images.clear();
    shown.coarse_aovs.resize(shown.images.size());
    for (std::size_t i = 0; i < shown.images.size(); ++i) {
        const LiveImage& live = shown.images[i];
        Image& copy = shown.coarse_aovs[i].image;
        copy = {};
        if (live.filling != Filling::complete) copy = EmptyCopy(live.aov->image);
        copy.floats = ReadLive(live, {0, 0, copy.width, copy.height});
        shown.coarse_images.push_back({&shown.coarse_aovs[i], Filling::complete, live.name});
    }
}

bool WithImages(
    const std::function<void(const std::vector<LiveImage>& images, LiveView view)>& act) {
    const std::lock_guard guard(shown.lock);
    if (shows_coarse()) {
        act(shown.coarse_images, shown.coarse_view);
        return true;
    }
    if (shown.state == ImageState::closed) return false;
    if (shown.state == ImageState::at_rest) {
        act(shown.images, shown.view);
        return true;
    }
    return DuringFrame([&] { act(shown.images, shown.view); });
}

bool is_worth_showing(std::uint32_t shown_frames, std::uint32_t frames) {
    constexpr double kStep = 1.125; // noise falls as one over the root of the frames
    return frames >= kStep * shown_frames;
}

namespace {

void read_part(const Image& image, const PixelRegion& part, std::vector<float>& values) {
    for (int y = part.y0; y < part.y1; ++y) {
        const std::int64_t row = std::int64_t{y} * image.width, channels = image.channels;
        const auto first = image.floats.begin() + channels * (row + part.x0);
        values.insert(values.end(), first, first + channels * (part.x1 - part.x0));
    }
}

} // namespace

std::vector<float> ReadLive(const LiveImage& live, const PixelRegion& part) {
    const Image& image =
        live.filling == Filling::derived ? derived_image(*live.aov) : live.aov->image;
    std::vector<float> values;
    if (image.channels != 3 || part.x1 > image.width || part.y1 > image.height) return values;
    if (live.filling == Filling::complete) // of no frame, which may begin or end meanwhile
        read_part(image, part, values);
    else
        ReadWholeFrames(image, part, values);
    if (live.filling == Filling::sum) scale_shares(values, part);
    return values;
}

std::uint16_t half_of(float value) {
    constexpr float kMost = 65504.0f;
    constexpr std::uint32_t kSmallestNormal = 0x38800000, kBiasOfExponents = 0x38000000;
    constexpr std::uint16_t kNotANumber = 0x7E00;
    if (value != value) return kNotANumber;
    const auto bits = std::bit_cast<std::uint32_t>(std::clamp(value, -kMost, kMost));
    const auto sign = static_cast<std::uint16_t>((bits >> 16) & 0x8000u);
    const std::uint32_t size = bits & 0x7FFFFFFFu;
    if (size < kSmallestNormal) { // the unit of floats from 0.5 on is that of the smallest halves
        const float shifted = std::bit_cast<float>(size) + 0.5f;
        const std::uint32_t steps =
            std::bit_cast<std::uint32_t>(shifted) - std::bit_cast<std::uint32_t>(0.5f);
        return static_cast<std::uint16_t>(sign | steps);
    }
    const std::uint32_t rounded = size - kBiasOfExponents + 0x0FFFu + ((size >> 13) & 1u);
    return static_cast<std::uint16_t>(sign | (rounded >> 13));
}

} // namespace mh
