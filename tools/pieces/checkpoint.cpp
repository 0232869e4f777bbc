// Checkpoints of a render.
// SPDX-License-Identifier: MIT
#include "pieces/checkpoint.h"

#include "integrate/exact_row.h"
#include "integrate/frame_sums.h"
#include "integrate/output_images.h"
#include "integrate/state.h"
#include "integrate/whole_frames.h"
#include "math/at.h"
#include "math/memory.h"
#include "output/camera.h"
#include "pieces/byte_fields.h"
#include "pieces/packed_bytes.h"
#include "pieces/scene_digest.h"
#include "pieces/section_file.h"
#include "run/estimator.h"
#include "run/state.h"

#include <cstdio>
#include <sstream>

namespace mh {

namespace {

constexpr FileKind kKind = {"checkpoint", "checkpoint", 4};
constexpr std::int32_t kMostChannels = 4;

// An image in the header; its numbers are a section.
struct ImageEntry {
    std::int32_t width = 0, height = 0, channels = 0;
    std::uint32_t word = 0; // bytes of a number: of a float or of a sum
    std::uint64_t packed = 0;
};

void put_entry(std::string& bytes, const ImageEntry& entry) {
    put(bytes, entry.width);
    put(bytes, entry.height);
    put(bytes, entry.channels);
    put(bytes, entry.word);
    put(bytes, entry.packed);
}

void take_entry(Bytes& bytes, ImageEntry& entry) {
    take(bytes, entry.width);
    take(bytes, entry.height);
    take(bytes, entry.channels);
    take(bytes, entry.word);
    take(bytes, entry.packed);
}

double count_of(const ImageEntry& entry) {
    return 1.0 * entry.width * entry.height * entry.channels;
}

bool is_valid(const ImageEntry& entry, const SectionFile& file) {
    return entry.width > 0 && entry.height > 0 && entry.channels > 0
           && entry.channels <= kMostChannels
           && (entry.word == sizeof(float) || entry.word == sizeof(FixedPoint))
           && entry.packed <= file.input.size_bytes && FitsMemory(count_of(entry) * entry.word);
}

template<typename T>
bool unpack(std::string_view packed, const ImageEntry& entry, std::vector<T>& values) {
    values.resize(static_cast<std::size_t>(count_of(entry)));
    return Unpack(packed, sizeof(T),
                  {reinterpret_cast<char*>(values.data()), values.size() * sizeof(T)});
}

bool read_image(SectionFile& file, const ImageEntry& entry, SavedImage& image) {
    std::string packed(entry.packed, '\0');
    if (!ReadSection(file, packed)) return false;
    image = {entry.width, entry.height, entry.channels, {}, {}};
    return entry.word == sizeof(float) ? unpack(packed, entry, image.values)
                                       : unpack(packed, entry, image.sums);
}

bool same_size(const SavedImage& saved, const Image& image) {
    return saved.width == image.width && saved.height == image.height
           && saved.channels == image.channels;
}

// Sums are kept of the rendered region alone.
ImageEntry entry_of(const FrameSum& sum) {
    const PixelRegion& region = IntegrateState.frame_sums.region;
    return {region.x1 - region.x0, region.y1 - region.y0, sum.image->channels, sizeof(FixedPoint)};
}

bool same_size(const SavedImage& saved, const FrameSum& sum) {
    const ImageEntry entry = entry_of(sum);
    return saved.width == entry.width && saved.height == entry.height
           && saved.channels == entry.channels
           && saved.sums.size() == static_cast<std::size_t>(count_of(entry));
}

// Whether sums were kept of these images; each then has its own instead of its means.
bool fits_sums(const Checkpoint& checkpoint) {
    const std::vector<FrameSum>& sums = IntegrateState.frame_sums.images;
    if (checkpoint.images.size() != sums.size()) return false;
    for (std::size_t i = 0; i < sums.size(); ++i)
        if (!same_size(checkpoint.images[i], sums[i])) return false;
    return true;
}

bool restore_sums(const Checkpoint& checkpoint) {
    if (!fits_sums(checkpoint)) return false;
    FrameSums& sums = IntegrateState.frame_sums;
    for (std::size_t i = 0; i < sums.images.size(); ++i)
        sums.images[i].rows = RowsOf(checkpoint.images[i].sums, sums.images[i].rows);
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

std::string WriteCheckpoint(const std::string& path, std::uint64_t scene) {
    std::string entries;
    std::vector<std::string> packed;
    const auto add_image = [&](ImageEntry entry, std::string_view numbers) {
        packed.push_back(Packed(numbers, entry.word));
        entry.packed = packed.back().size();
        put_entry(entries, entry);
    };
    for (const FrameSum& sum : IntegrateState.frame_sums.images)
        add_image(entry_of(sum), bytes_of(SumsOf(sum.rows)));
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (sums_frames() || !grows(filling)) return;
        const Image image = OfWholeFrames(aov.image);
        add_image({image.width, image.height, image.channels, sizeof(float)},
                  bytes_of(image.floats));
    });
    std::string header;
    put(header, FrameIndex);
    put(header, ActiveCamera()->sample);
    put(header, scene);
    put_text(header, SettingsText());
    put(header, static_cast<std::uint64_t>(packed.size()));
    return WriteSections(path, kKind, header + entries,
                         std::vector<std::string_view>(packed.begin(), packed.end()));
}

std::string ReadCheckpoint(const std::string& path, Checkpoint& checkpoint) {
    SectionFile file;
    if (std::string fault = OpenSections(path, kKind, file); !fault.empty()) return fault;
    Bytes fields = {file.header};
    std::uint64_t count = 0;
    take(fields, checkpoint.frames);
    take(fields, checkpoint.sample);
    take(fields, checkpoint.scene);
    take_text(fields, checkpoint.settings);
    take(fields, count);
    for (std::uint64_t i = 0; i < count; ++i) {
        ImageEntry entry;
        take_entry(fields, entry);
        if (!fields.good || !is_valid(entry, file)
            || !read_image(file, entry, checkpoint.images.emplace_back()))
            return kDamaged;
    }
    return fields.good && fields.rest.empty() && std::fgetc(file.input.handle.get()) == EOF
               ? std::string()
               : kDamaged;
}

} // namespace mh
