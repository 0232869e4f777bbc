// Pieces of a picture.
// SPDX-License-Identifier: MIT
#include "pieces/piece.h"

#include "files.h"
#include "integrate/exact_row.h"
#include "integrate/output_images.h"
#include "integrate/state.h"
#include "math/count_text.h"
#include "output/camera.h"
#include "pieces/byte_fields.h"
#include "pieces/scene_digest.h"
#include "run/estimator.h"

#include <algorithm>
#include <list>
#include <random>

namespace mh {

namespace {

struct NamedImage {
    const Image* image;
    PlaneHeader plane;
};

PlaneKind kind_of(const Aov& aov, Filling filling, bool of_camera) {
    switch (filling) {
    case Filling::mean:
    case Filling::sum: return PlaneKind::sums;
    case Filling::plane: return PlaneKind::part;
    case Filling::derived: return PlaneKind::derived;
    case Filling::complete: break;
    }
    return of_camera && holds(aov, Channel::light_path) ? PlaneKind::whole : PlaneKind::black;
}

// Other cameras have images of their own size; those of lights are as large as the picture.
PlaneHeader plane_of(const Aov& aov, PlaneKind kind) {
    const Camera& camera = *ActiveCamera();
    const Image& image = aov.image;
    const bool own_size = kind == PlaneKind::black && image.width > 0;
    return {image.path,
            kind,
            own_size ? image.width : camera.width,
            own_size ? image.height : camera.height,
            image.channels,
            aov.channel};
}

bool belongs_to(const Aov& aov, const Camera& camera) {
    return std::any_of(camera.aovs.begin(), camera.aovs.end(),
                       [&](const Aov& own) { return &own == &aov; });
}

// All images that are written, and what they are derived from, those of the rendered camera last: a
// name may stand twice.
std::vector<NamedImage> images_in_order() {
    const Camera& camera = *ActiveCamera();
    std::vector<NamedImage> others, own;
    ForEachOutput([&](const Aov& aov, Filling filling) {
        if (aov.image.path.empty() && filling != Filling::plane) return;
        const bool of_camera = belongs_to(aov, camera);
        const PlaneKind kind = kind_of(aov, filling, of_camera);
        (of_camera ? own : others).push_back({&aov.image, plane_of(aov, kind)});
    });
    others.insert(others.end(), own.begin(), own.end());
    return others;
}

// Those of a plane that has sums; else none.
std::vector<FixedPoint> sums_of(const NamedImage& named) {
    if (named.plane.kind == PlaneKind::whole) return {};
    for (const FrameSum& sum : IntegrateState.frame_sums.images)
        if (sum.image == named.image) return SumsOf(sum.rows);
    return {};
}

} // namespace

bool is_piece(const Arguments& arguments) {
    return !arguments.partial.empty();
}

bool writes_no_pictures(const Arguments& arguments) {
    return is_piece(arguments) || !arguments.photons.empty();
}

std::string PieceOptionsFault(const Arguments& arguments) {
    const bool keeps = !arguments.checkpoint.empty() || !arguments.resume.empty();
    if (arguments.frames && !is_piece(arguments))
        return "--frames renders a piece of a picture: --partial FILE has to name its file";
    if (!arguments.photons.empty() && (is_piece(arguments) || !arguments.use_photons.empty()))
        return "--photons renders nothing: it goes with neither --partial nor --use-photons";
    if (!writes_no_pictures(arguments)) return {};
    if (keeps)
        return "--partial and --photons go with no checkpoint: their files are whole or not there";
    if (arguments.write_every_s)
        return "--partial and --photons write no pictures: --write-every is of no use";
    if (!arguments.exr_layers.empty())
        return "--partial and --photons write no pictures: --exr-layers is of no use";
    return {};
}

void PickSeed() {
    if (is_seeded()) return;
    RendererSettings.seed = std::random_device()() & 0x7FFFFFFFu;
    Complain("no seed is given, and " + std::to_string(RendererSettings.seed)
             + " was picked: all pieces of a picture must share it (--seed "
             + std::to_string(RendererSettings.seed) + ")");
}

std::string LimitToFrames(const Arguments& arguments) {
    const std::int32_t frames = ActiveCamera()->sample;
    const std::array<int, 2> all = {0, frames}, range = arguments.frames.value_or(all);
    if (range[1] > frames)
        return "--frames " + std::to_string(range[0]) + ':' + std::to_string(range[1])
               + " goes beyond the picture's " + CountText(frames, "frame");
    if (RendererSettings.adaptive && range[0] % 2 != 0)
        return "--frames of adaptive pieces begin at even frames, not at "
               + std::to_string(range[0]) + ": halves of frames tell the noise";
    Hooks.first_frame = Hooks.begin_frame = static_cast<std::uint32_t>(range[0]);
    Hooks.end_frame = static_cast<std::uint32_t>(range[1]);
    return {};
}

PieceHeader HeaderOfPiece(const Arguments& arguments, const PixelRegion& region_of_scene) {
    const Camera& camera = *ActiveCamera();
    PieceHeader header;
    PictureHeader& picture = header.picture;
    picture.identity = IdentityOf(arguments);
    picture.frames = static_cast<std::uint32_t>(camera.sample);
    picture.width = camera.width;
    picture.height = camera.height;
    picture.region = region_of_scene;
    picture.exr_floats = ImageWriting.exr_floats ? 1 : 0;
    for (const NamedImage& named : images_in_order())
        picture.planes.push_back(named.plane);
    header.region = RenderedRegion(camera);
    header.first = Hooks.first_frame;
    header.end = Hooks.end_frame;
    return header;
}

std::string FramesText(const PieceHeader& header) {
    return "frames " + std::to_string(header.first) + " to " + std::to_string(header.end - 1)
           + " of " + std::to_string(header.picture.frames);
}

bool HoldsPiece(const std::string& path, const PieceHeader& header) {
    PartialFile file;
    return ReadPartial(path, file).empty() && file.header == header;
}

std::string WritePiece(const std::string& path, const PieceHeader& header) {
    std::vector<std::string_view> data;
    std::list<std::vector<FixedPoint>> sums; // views of them stay valid
    for (const NamedImage& named : images_in_order()) {
        sums.push_back(sums_of(named));
        data.push_back(named.plane.kind == PlaneKind::whole ? bytes_of(named.image->floats)
                                                            : bytes_of(sums.back()));
        if (data.back().size() != data_size(header, named.plane))
            return "there was no memory for " + named.plane.name;
    }
    return WritePartial(path, header, data);
}

} // namespace mh
