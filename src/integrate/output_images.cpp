// All images that a run writes.
// SPDX-License-Identifier: MIT
#include "integrate/output_images.h"

#include "integrate/frame_sums.h"
#include "integrate/plane_images.h"
#include "integrate/whole_frames.h"
#include "lights/state.h"
#include "math/at.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "run/state.h"

#include <algorithm>
#include <limits>

namespace mh {

namespace {

using Act = std::function<void(Aov& aov, Filling filling)>;

Filling filling_of(const Aov& aov) {
    if (holds(aov, Channel::light_path)) return Filling::complete;
    return sums_frames() ? Filling::mean : Filling::sum;
}

void for_each_of_light(std::vector<Aov>& list, const Act& act) {
    for (Aov& aov : list)
        act(aov, filling_of(aov));
}

void for_each_of_camera(Camera& camera, bool active, const Act& act) {
    for (std::size_t i = 0; i < camera.aovs.size(); ++i) {
        Aov& aov = camera.aovs[i];
        const Filling filling = i == 0              ? Filling::mean
                                : shows_planes(aov) ? Filling::derived
                                                    : filling_of(aov);
        act(aov, active ? filling : Filling::complete);
    }
}

void write_whole_frames(const Image& image, const SumScale& factor) {
    Image copy = OfWholeFrames(image);
    scale(copy, factor);
    WriteImage(copy);
}

void write_derived(Aov copy) {
    ShowPlanes(copy);
    WriteImage(copy.image);
}

} // namespace

void ForEachOutput(const Act& act) {
    Camera* active = ActiveCamera();
    if (active != nullptr) for_each_of_camera(*active, true, act);
    for (Camera& camera : Cameras)
        if (&camera != active) for_each_of_camera(camera, false, act);
    for_each_of_light(SkyLight.aov_list, act);
    for_each_of_light(GeometryLight.aov_list, act);
    for (PointLight& light : PointLights)
        for_each_of_light(light.aov_list, act);
    for (ParallelLight& light : ParallelLights)
        for_each_of_light(light.aov_list, act);
    for (Aov& sum : PlaneSums.sums)
        act(sum, Filling::plane);
}

SumScale SumsToMeans() {
    const Camera* camera = ActiveCamera();
    if (camera == nullptr || FrameIndex == 0) return {};
    const auto frames = static_cast<float>(camera->sample);
    SumScale factor = {frames / static_cast<float>(FrameIndex), {}};
    if (!RendererSettings.adaptive || !keeps_planes() || PlaneSums.ended_of > 0) return factor;
    factor.of_pixels = OfWholeFrames(PlaneSums.sums[0].image).floats;
    for (float& of_pixel : factor.of_pixels)
        of_pixel = frames / std::max(of_pixel, 1.0f);
    return factor;
}

Image EmptyCopy(const Image& image) {
    Image copy;
    copy.path = image.path;
    copy.width = image.width;
    copy.height = image.height;
    copy.channels = image.channels;
    copy.bits = image.bits;
    copy.floats.resize(image.floats.size());
    return copy;
}

void scale(Image& image, const SumScale& factor) {
    constexpr float kMost = std::numeric_limits<float>::max();
    const auto channels = to_size(image.channels);
    for (std::size_t i = 0; i < image.floats.size(); ++i)
        image.floats[i] = std::clamp(image.floats[i] * factor.at(i / channels), -kMost, kMost);
}

// The image of the active camera comes last, as one of another camera may have its name.
void WriteOutputs() {
    const SumScale factor = SumsToMeans(), none = {1.0f, {}};
    const Camera* camera = ActiveCamera();
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (filling == Filling::complete) WriteImage(aov.image);
        if (filling == Filling::derived) write_derived(aov);
        if (filling == Filling::sum) write_whole_frames(aov.image, factor);
        const bool is_first = camera != nullptr && &aov == camera->aovs.data();
        if (filling == Filling::mean && !is_first) write_whole_frames(aov.image, none);
    });
    if (camera != nullptr) write_whole_frames(camera->aovs[0].image, none);
}

void EndWithFramesDone() {
    Camera* camera = ActiveCamera();
    if (camera == nullptr || FrameIndex == 0) return;
    const SumScale factor = SumsToMeans();
    const bool nothing_to_do = factor.of_pixels.empty() && factor.of_all == 1.0f;
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (filling == Filling::sum && !nothing_to_do) scale(aov.image, factor);
    });
    if (PlaneSums.ended_of == 0) PlaneSums.ended_of = camera->sample;
    camera->sample = static_cast<std::int32_t>(FrameIndex);
}

void ForgetFrames() {
    ForEachOutput([](Aov& aov, Filling filling) {
        if (filling != Filling::complete) aov.image.path.clear();
    });
}

void ForgetOutputs() {
    ForEachOutput([](Aov& aov, Filling) { aov.image.path.clear(); });
}

} // namespace mh
