// The command "merge". Pictures are put together one after the other, and of a piece one row at a
// time is in memory.
// SPDX-License-Identifier: MIT
#include "pieces/merge.h"

#include "files.h"
#include "frame/denoised_images.h"
#include "frame/phases.h"
#include "integrate/frame_sums.h"
#include "integrate/plane_images.h"
#include "math/at.h"
#include "math/count_text.h"
#include "math/memory.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "output_paths.h"
#include "pictures/layers.h"
#include "pieces/merge_cover.h"
#include "pieces/partial_file.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>

namespace mh {

namespace {

namespace fs = std::filesystem;

struct Piece {
    std::string path;
    PartialFile file;
};

// What all pictures are made with.
struct Merge {
    std::vector<Piece> pieces;         // in the order of their frames
    PixelRegion bounds;                // of all their regions
    std::vector<std::uint32_t> frames; // of each pixel of the bounds
};

constexpr const char* kChanged = "a piece has changed while it was read";

bool write_failed = false;

const PieceHeader& header_of(const Piece& piece) {
    return piece.file.header;
}

const PictureHeader& picture_of(const Merge& merge) {
    return header_of(merge.pieces[0]).picture;
}

std::string read_pieces(const std::vector<std::string>& paths, Merge& merge) {
    for (const std::string& path : paths) {
        Piece& piece = merge.pieces.emplace_back();
        piece.path = path;
        const std::string fault = ReadPartial(path, piece.file);
        if (!fault.empty()) return path + ' ' + fault;
    }
    return {};
}

std::string difference(const PictureHeader& a, const PictureHeader& b) {
    if (std::string text = DifferenceFrom(a.identity, b.identity); !text.empty()) return text;
    if (a.frames != b.frames)
        return "is of a picture of " + CountText(b.frames, "frame") + ", not "
               + std::to_string(a.frames);
    return a == b ? "" : "is of a picture with other images";
}

std::string find_stranger(const Merge& merge) {
    const Piece& first = merge.pieces[0];
    for (const Piece& piece : merge.pieces) {
        std::string fault = difference(picture_of(merge), header_of(piece).picture);
        for (std::size_t i = 0; fault.empty() && i < picture_of(merge).planes.size(); ++i)
            if (picture_of(merge).planes[i].kind == PlaneKind::whole
                && piece.file.check_sums[i] != first.file.check_sums[i])
                fault = "has other photons";
        if (!fault.empty()) return piece.path + ' ' + fault + " (compared with " + first.path + ')';
    }
    return {};
}

PieceBox box_of(const PieceHeader& header) {
    return {header.region, header.first, header.end};
}

std::vector<PieceBox> boxes_of(const Merge& merge) {
    std::vector<PieceBox> boxes;
    for (const Piece& piece : merge.pieces)
        boxes.push_back(box_of(header_of(piece)));
    return boxes;
}

// The region that the pieces are to cover: the one asked for, the one that all share, or the
// scene's.
PixelRegion region_to_cover(const Arguments& arguments, const Merge& merge) {
    const PictureHeader& picture = picture_of(merge);
    if (arguments.region) {
        const auto& [x0, y0, x1, y1] = *arguments.region;
        return {x0, y0, std::min(x1, picture.width), std::min(y1, picture.height)};
    }
    const PixelRegion& first = header_of(merge.pieces[0]).region;
    const bool shared = std::all_of(merge.pieces.begin(), merge.pieces.end(),
                                    [&](const Piece& p) { return header_of(p).region == first; });
    return shared ? first : picture.region;
}

std::string find_overlap(const Merge& merge) {
    const auto found = FindOverlap(boxes_of(merge));
    if (!found) return {};
    const Piece &a = merge.pieces[(*found)[0]], &b = merge.pieces[(*found)[1]];
    return a.path + " and " + b.path + " overlap: frames "
           + std::to_string(std::max(header_of(a).first, header_of(b).first)) + " to "
           + std::to_string(std::min(header_of(a).end, header_of(b).end) - 1) + " are in both";
}

// Prints a line for a gap; false when that ends the merge.
bool covers(const Arguments& arguments, const Merge& merge) {
    const std::string gap =
        FindGap(boxes_of(merge), {region_to_cover(arguments, merge), 0, picture_of(merge).frames});
    if (gap.empty()) return true;
    Complain("no piece holds " + gap
             + (arguments.allow_gaps ? "; the picture is made of what there is"
                                     : "; --allow-gaps goes on without them"));
    return arguments.allow_gaps;
}

void find_bounds(Merge& merge) {
    merge.bounds = header_of(merge.pieces[0]).region;
    for (const Piece& piece : merge.pieces) {
        const PixelRegion& region = header_of(piece).region;
        merge.bounds = {std::min(merge.bounds.x0, region.x0), std::min(merge.bounds.y0, region.y0),
                        std::max(merge.bounds.x1, region.x1), std::max(merge.bounds.y1, region.y1)};
    }
}

// The place of a row of a piece's region among the pixels of the bounds.
std::size_t start_of_row(const Merge& merge, const PixelRegion& region, std::int32_t y) {
    const PixelRegion& bounds = merge.bounds;
    const auto width = to_size(bounds.x1 - bounds.x0);
    return width * to_size(y - bounds.y0) + to_size(region.x0 - bounds.x0);
}

bool open_plane(const Piece& piece, std::size_t plane, InputFile& input) {
    input = OpenInput(piece.path, Origin::user);
    return input
           && fseeko(input.handle.get(), static_cast<off_t>(piece.file.offsets[plane]), SEEK_SET)
                  == 0;
}

template<typename T>
bool read_values(InputFile& input, std::vector<T>& values) {
    return std::fread(values.data(), sizeof(T), values.size(), input.handle.get()) == values.size();
}

bool add_piece(const Merge& merge, const Piece& piece, std::size_t plane,
               std::vector<FixedPoint>& sums) {
    InputFile input;
    if (!open_plane(piece, plane, input)) return false;
    const PixelRegion& region = header_of(piece).region;
    const auto channels = to_size(header_of(piece).picture.planes[plane].channels);
    std::vector<FixedPoint> row(channels * to_size(region.x1 - region.x0));
    for (std::int32_t y = region.y0; y < region.y1; ++y) {
        if (!read_values(input, row)) return false;
        FixedPoint* to = &sums[channels * start_of_row(merge, region, y)];
        for (std::size_t i = 0; i < row.size(); ++i)
            add(to[i], row[i]);
    }
    return true;
}

// Of the plane, all pieces together; false when one could not be read to its end.
bool add_pieces(const Merge& merge, std::size_t plane, std::vector<FixedPoint>& sums) {
    const auto channels = to_size(picture_of(merge).planes[plane].channels);
    sums.assign(pixel_count(merge.bounds) * channels, {});
    return std::all_of(merge.pieces.begin(), merge.pieces.end(),
                       [&](const Piece& piece) { return add_piece(merge, piece, plane, sums); });
}

void count_even_frames(Merge& merge) {
    for (const Piece& piece : merge.pieces) {
        const PieceHeader& header = header_of(piece);
        const auto width = to_size(header.region.x1 - header.region.x0);
        for (std::int32_t y = header.region.y0; y < header.region.y1; ++y) {
            std::uint32_t* row = &merge.frames[start_of_row(merge, header.region, y)];
            for (std::size_t x = 0; x < width; ++x)
                row[x] += header.end - header.first;
        }
    }
}

// Pixels of adaptive pieces have frames of their own: the first of the planes counts them.
bool count_frames(Merge& merge) {
    merge.frames.assign(pixel_count(merge.bounds), 0);
    const std::vector<PlaneHeader>& planes = picture_of(merge).planes;
    const auto part = std::find_if(planes.begin(), planes.end(), [](const PlaneHeader& plane) {
        return plane.kind == PlaneKind::part;
    });
    if (part == planes.end()) {
        count_even_frames(merge);
        return true;
    }
    if (part->channels != 1) return false;
    std::vector<FixedPoint> sums;
    if (!add_pieces(merge, to_size(part - planes.begin()), sums)) return false;
    std::transform(sums.begin(), sums.end(), merge.frames.begin(), [](const FixedPoint& sum) {
        constexpr double kMost = std::numeric_limits<std::uint32_t>::max();
        return static_cast<std::uint32_t>(std::clamp(to_double(sum), 0.0, kMost));
    });
    return true;
}

// Puts the means of the sums into the picture, or the sums themselves.
void show(const Merge& merge, const std::vector<FixedPoint>& sums, bool means, Image& image) {
    const PixelRegion& bounds = merge.bounds;
    const auto channels = to_size(image.channels);
    for (std::int32_t y = bounds.y0; y < bounds.y1; ++y) {
        const std::size_t first = start_of_row(merge, bounds, y);
        std::size_t to = channels * grid_place(bounds.x0, y, image.width);
        for (std::int32_t x = 0; x < bounds.x1 - bounds.x0; ++x)
            for (std::size_t c = 0; c < channels; ++c, ++to) {
                const std::size_t pixel = first + to_size(x);
                image.floats[to] =
                    mean_of(sums[channels * pixel + c], means ? merge.frames[pixel] : 1);
            }
    }
}

bool fill_from_sums(const Merge& merge, std::size_t plane, bool means, Image& image) {
    std::vector<FixedPoint> sums;
    if (!add_pieces(merge, plane, sums)) return false;
    show(merge, sums, means, image);
    return true;
}

// False when a piece could not be read to its end.
bool fill(const Merge& merge, std::size_t plane, Aov& aov) {
    InputFile input;
    switch (picture_of(merge).planes[plane].kind) {
    case PlaneKind::black: return true;
    case PlaneKind::derived: ShowPlanes(aov); return true;
    case PlaneKind::sums: return fill_from_sums(merge, plane, true, aov.image);
    case PlaneKind::part: return fill_from_sums(merge, plane, false, aov.image);
    case PlaneKind::whole:
        return open_plane(merge.pieces[0], plane, input) && read_values(input, aov.image.floats);
    }
    std::abort();
}

Aov aov_of(const PlaneHeader& plane) {
    Aov aov;
    aov.channel = plane.channel;
    Image& image = aov.image;
    image.width = plane.width;
    image.height = plane.height;
    image.channels = plane.channels;
    image.floats.resize(grid_size(image.width, image.height) * to_size(image.channels));
    return aov;
}

// Within the folder, whatever the name says.
fs::path path_in(const std::string& folder, const std::string& name) {
    const fs::path path = fs::path(name).lexically_normal();
    const bool leaves = path.is_absolute() || path.begin()->string() == "..";
    if (leaves) Complain(name + " is outside of the output folder, and written into it");
    return fs::path(folder) / (leaves ? path.filename() : path);
}

void note_failed_write(const std::string& path, const std::string& reason) {
    write_failed = true;
    Complain("cannot write " + path + ": " + reason);
}

// What images are derived from. Empty on success.
std::string join_parts(const Arguments& arguments, const Merge& merge) {
    std::vector<Aov> parts;
    const std::vector<PlaneHeader>& planes = picture_of(merge).planes;
    for (std::size_t i = 0; i < planes.size(); ++i)
        if (planes[i].kind == PlaneKind::part
            && !fill(merge, i, parts.emplace_back(aov_of(planes[i]))))
            return kChanged;
    if (!RestorePlanes(std::move(parts), static_cast<std::int32_t>(picture_of(merge).frames)))
        return "the pieces lack planes that images are made from";
    if (arguments.denoise && !keeps_features())
        return "the pieces hold no features to denoise by: render them with --denoise too, or "
               "merge "
               "them without it and use moonhare denoise";
    return {};
}

// Images of lights come before those of the rendered camera, whose first is its picture.
std::size_t place_of_picture(const std::vector<PlaneHeader>& planes) {
    const auto last = std::find_if(planes.rbegin(), planes.rend(), [](const PlaneHeader& plane) {
        return plane.kind == PlaneKind::sums
               && plane.channel == static_cast<std::uint32_t>(Channel::beauty);
    });
    return to_size(planes.rend() - last) - 1;
}

void write_layers(const std::string& path, const std::string& beauty) {
    const std::string fault = WriteLayers(path, beauty);
    if (!fault.empty()) note_failed_write(path, fault);
}

std::string write_pictures(const Arguments& arguments, const Merge& merge) {
    const std::vector<PlaneHeader>& planes = picture_of(merge).planes;
    const std::size_t picture = place_of_picture(planes);
    std::vector<Image> for_denoiser;
    if (!arguments.exr_layers.empty()) CollectLayers();
    for (std::size_t i = 0; i < planes.size(); ++i) {
        if (planes[i].kind == PlaneKind::part) continue;
        Aov aov = aov_of(planes[i]);
        if (!fill(merge, i, aov)) return kChanged;
        aov.image.path = path_in(arguments.output_dir, planes[i].name);
        std::error_code fault; // the writing reports it
        fs::create_directories(fs::path(aov.image.path).parent_path(), fault);
        WriteImage(aov.image);
        if (arguments.denoise && planes[i].kind == PlaneKind::sums && i <= picture)
            for_denoiser.push_back(std::move(aov.image));
    }
    if (!for_denoiser.empty()) {
        std::vector<const Image*> lights;
        for (std::size_t i = 0; i + 1 < for_denoiser.size(); ++i)
            lights.push_back(&for_denoiser[i]);
        WriteDenoisedImages(for_denoiser.back(), lights);
    }
    if (!arguments.exr_layers.empty())
        write_layers(arguments.exr_layers, path_in(arguments.output_dir, planes[picture].name));
    return {};
}

// Of a picture while it is put together, and while it is encoded.
bool fits_memory(const Arguments& arguments, const Merge& merge) {
    constexpr double kBytesOfSums = 3.0 * sizeof(FixedPoint) + sizeof(std::uint32_t);
    double largest = 0.0, parts = 0.0, all = 0.0;
    for (const PlaneHeader& plane : picture_of(merge).planes) {
        const double values = 1.0 * plane.width * plane.height * plane.channels;
        largest = std::max(largest, values);
        all += values;
        if (plane.kind == PlaneKind::part) parts += values;
    }
    constexpr double kCopies = 3.0; // in other forms, while they are made and encoded
    constexpr double kBytesOfDenoiser = 400.0;
    constexpr double kBytesOfLayers = 3.0 * sizeof(float); // kept, laid out, and encoded
    const double bytes_of_pixel = kBytesOfSums + (arguments.denoise ? kBytesOfDenoiser : 0.0);
    return FitsMemory(bytes_of_pixel * static_cast<double>(pixel_count(merge.bounds))
                      + sizeof(float) * (kCopies * largest + parts)
                      + (arguments.exr_layers.empty() ? 0.0 : kBytesOfLayers * all));
}

int fail(int status, const std::string& reason) {
    Complain(reason);
    return status;
}

int merge_read(const Arguments& arguments, Merge& merge) {
    std::sort(merge.pieces.begin(), merge.pieces.end(), [](const Piece& a, const Piece& b) {
        return header_of(a).first < header_of(b).first;
    });
    for (const std::string& fault : {find_stranger(merge), find_overlap(merge)})
        if (!fault.empty()) return fail(kWrongUse, fault);
    if (!covers(arguments, merge)) return kWrongUse;
    find_bounds(merge);
    if (!fits_memory(arguments, merge))
        return fail(kNotWritten, "the picture needs more memory than there is");
    if (!count_frames(merge)) return fail(kWrongUse, kChanged);
    Startup();
    Hooks.write_failed = note_failed_write;
    ImageWriting.exr_floats = picture_of(merge).exr_floats != 0;
    std::string fault = join_parts(arguments, merge);
    if (fault.empty()) fault = write_pictures(arguments, merge);
    Finalize();
    Shutdown();
    if (!fault.empty()) return fail(kWrongUse, fault);
    return write_failed ? kNotWritten : kDone;
}

std::size_t pictures_of(const Merge& merge) {
    const std::vector<PlaneHeader>& planes = picture_of(merge).planes;
    return planes.size()
           - to_size(std::count_if(planes.begin(), planes.end(), [](const PlaneHeader& plane) {
                 return plane.kind == PlaneKind::part;
             }));
}

} // namespace

int MergePieces(const Arguments& arguments) {
    Merge merge;
    std::string fault = FaultOfLayers(arguments);
    if (!fault.empty()) return fail(kNotWritten, fault);
    fault = read_pieces(arguments.pieces, merge);
    if (!fault.empty()) return fail(kWrongUse, fault);
    const int status = merge_read(arguments, merge);
    if (status != kDone) return status;
    const auto count = [](std::size_t n, const char* name) {
        return CountText(static_cast<std::int64_t>(n), name);
    };
    std::cout << "moonhare: " << count(pictures_of(merge), "picture") << " of "
              << count(merge.pieces.size(), "piece") << ", "
              << count(picture_of(merge).frames, "frame") << '\n';
    return kDone;
}

} // namespace mh
