// Checkpoints of a render.
// SPDX-License-Identifier: MIT
#include "pieces/checkpoint.h"

#include "files.h"
#include "integrate/frame_sums.h"
#include "integrate/output_images.h"
#include "integrate/state.h"
#include "integrate/whole_frames.h"
#include "math/digest.h"
#include "output/camera.h"
#include "output/file_writer.h"
#include "pieces/byte_fields.h"
#include "pieces/scene_digest.h"
#include "run/estimator.h"
#include "run/state.h"

#include <cstring>
#include <sstream>

namespace mh {

namespace {

constexpr std::string_view kMagic = "moonhare checkpoint 3\n";

void put_image(std::string& bytes, const SavedImage& image) {
    put(bytes, image.width);
    put(bytes, image.height);
    put(bytes, image.channels);
    put_array(bytes, image.values);
    put_array(bytes, image.sums);
}

void take_image(Bytes& bytes, SavedImage& image) {
    take(bytes, image.width);
    take(bytes, image.height);
    take(bytes, image.channels);
    take_array(bytes, image.values);
    take_array(bytes, image.sums);
}

std::uint64_t sum_of(std::string_view bytes) {
    Digest digest;
    add(digest, bytes);
    return digest.value;
}

bool same_size(const SavedImage& saved, const Image& image) {
    return saved.width == image.width && saved.height == image.height
           && saved.channels == image.channels;
}

// Whether sums were kept of these images; each then has its own instead of its means.
bool fits_sums(const Checkpoint& checkpoint) {
    const std::vector<FrameSum>& sums = IntegrateState.frame_sums.images;
    if (checkpoint.images.size() != sums.size()) return false;
    for (std::size_t i = 0; i < sums.size(); ++i)
        if (!same_size(checkpoint.images[i], *sums[i].image)
            || checkpoint.images[i].sums.size() != sums[i].values.size())
            return false;
    return true;
}

bool restore_sums(const Checkpoint& checkpoint) {
    if (!fits_sums(checkpoint)) return false;
    FrameSums& sums = IntegrateState.frame_sums;
    for (std::size_t i = 0; i < sums.images.size(); ++i)
        sums.images[i].values = checkpoint.images[i].sums;
    sums.frames = checkpoint.frames;
    ShowMeans();
    return true;
}

} // namespace

std::string SettingsText() {
    const Camera& camera = *ActiveCamera();
    std::ostringstream text;
    text << "region " << camera.region_x0 << ',' << camera.region_y0 << ',' << camera.region_x1
         << ',' << camera.region_y1 << ", " << PictureSettings();
    return text.str();
}

Checkpoint TakeCheckpoint(std::uint64_t scene) {
    Checkpoint checkpoint = {FrameIndex, ActiveCamera()->sample, scene, SettingsText(), {}};
    for (const FrameSum& sum : IntegrateState.frame_sums.images) {
        const Image& image = *sum.image;
        checkpoint.images.push_back({image.width, image.height, image.channels, {}, sum.values});
    }
    if (sums_frames()) return checkpoint;
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (!grows(filling)) return;
        Image image = OfWholeFrames(aov.image);
        checkpoint.images.push_back(
            {image.width, image.height, image.channels, std::move(image.floats), {}});
    });
    return checkpoint;
}

bool RestoreImages(const Checkpoint& checkpoint) {
    StartFrameSums();
    if (sums_frames()) return restore_sums(checkpoint);
    std::vector<std::pair<Image*, Filling>> images;
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (grows(filling)) images.push_back({&aov.image, filling});
    });
    if (images.size() != checkpoint.images.size()) return false;
    for (std::size_t i = 0; i < images.size(); ++i)
        if (!same_size(checkpoint.images[i], *images[i].first)
            || checkpoint.images[i].values.size() != images[i].first->floats.size())
            return false;
    const float share =
        static_cast<float>(checkpoint.sample) / static_cast<float>(ActiveCamera()->sample);
    for (std::size_t i = 0; i < images.size(); ++i) {
        images[i].first->floats = checkpoint.images[i].values;
        if (images[i].second == Filling::sum && share != 1.0f) scale(*images[i].first, {share, {}});
    }
    return true;
}

std::string WriteCheckpoint(const std::string& path, const Checkpoint& checkpoint) {
    std::string bytes(kMagic);
    put(bytes, checkpoint.frames);
    put(bytes, checkpoint.sample);
    put(bytes, checkpoint.scene);
    put_text(bytes, checkpoint.settings);
    put(bytes, static_cast<std::uint64_t>(checkpoint.images.size()));
    for (const SavedImage& image : checkpoint.images)
        put_image(bytes, image);
    put(bytes, sum_of(bytes));
    return ReplaceFile(path, bytes);
}

std::string ReadCheckpoint(const std::string& path, Checkpoint& checkpoint) {
    std::string content;
    if (!ReadWholeFile(path, content, Origin::user)) return "cannot be read";
    if (!content.starts_with(kMagic)) return "is not a checkpoint";
    std::uint64_t sum = 0;
    if (content.size() < kMagic.size() + sizeof sum) return "is damaged";
    const std::string_view body(content.data(), content.size() - sizeof sum);
    std::memcpy(&sum, content.data() + body.size(), sizeof sum);
    if (sum != sum_of(body)) return "is damaged";
    Bytes bytes = {body.substr(kMagic.size())};
    std::uint64_t count = 0;
    take(bytes, checkpoint.frames);
    take(bytes, checkpoint.sample);
    take(bytes, checkpoint.scene);
    take_text(bytes, checkpoint.settings);
    take(bytes, count);
    for (std::uint64_t i = 0; bytes.good && i < count; ++i)
        take_image(bytes, checkpoint.images.emplace_back());
    return bytes.good && bytes.rest.empty() ? std::string() : "is damaged";
}

} // namespace mh
