// Partial files and photon files: read as they are; a header under a true check sum, with data from
// the input; photons of any bits. Pieces that are whole are merged, photons are put into their
// tree.
// SPDX-License-Identifier: MIT
#include "harness.h"
#include "integrate/photon_tree.h"
#include "integrate/state.h"
#include "pieces/merge.h"
#include "pieces/partial_file.h"
#include "pieces/photon_file.h"
#include "support/fresh_scene.h"

#include <cstdlib>
#include <cstring>

namespace mh::fuzz {

namespace {

constexpr std::uint64_t kMostData = 1u << 16;
constexpr std::int32_t kLargestSide = 64; // of pictures that are written

bool is_small(const PieceHeader& header) {
    std::uint64_t bytes = 0;
    for (const PlaneHeader& plane : header.picture.planes) {
        if (plane.width > kLargestSide || plane.height > kLargestSide) return false;
        bytes += data_size(header, plane);
        if (bytes > kMostData) return false;
    }
    return true;
}

void merge_file(const std::string& name) {
    Arguments arguments;
    arguments.pieces = {name};
    arguments.output_dir = "out";
    arguments.allow_gaps = true;
    MergePieces(arguments);
}

// What is written has to be read back as it was.
void seal(std::string_view input) {
    PieceHeader header;
    if (!ParsePieceHeader(input.substr(0, input.size() - input.size() / 4), header)
        && !ParsePieceHeader(input, header))
        return;
    if (!is_small(header)) return;
    std::vector<std::string> data;
    for (const PlaneHeader& plane : header.picture.planes) {
        data.emplace_back(data_size(header, plane), '\0');
        for (std::size_t i = 0; i < data.back().size(); ++i)
            data.back()[i] = input[i % input.size()];
    }
    const std::vector<std::string_view> views(data.begin(), data.end());
    PartialFile file;
    if (!WritePartial("sealed", header, views).empty() || !ReadPartial("sealed", file).empty()
        || !(file.header == header))
        std::abort();
    merge_file("sealed");
}

void grow_tree_of(std::string_view input) {
    const test::FreshScene scene;
    Photons.resize(input.size() / sizeof(CausticPhoton));
    if (!Photons.empty())
        std::memcpy(Photons.data(), input.data(), Photons.size() * sizeof(CausticPhoton));
    const Identity identity;
    if (!WritePhotons("photons", identity).empty()) std::abort();
    if (!ReadPhotons("photons", identity).empty()) return;
    const PhotonTree tree = GrowPhotonTree(Photons, 0.1f);
    NearestPhotons found;
    found.limit = 1.0f;
    find_nearest(tree, Photons, {}, {0.0f, 0.0f, 1.0f}, found);
}

} // namespace

void Try(std::string_view input) {
    WriteFile("input", input);
    PartialFile file;
    if (ReadPartial("input", file).empty() && is_small(file.header)) merge_file("input");
    CheckPhotons("input", {});
    if (!input.empty()) seal(input);
    grow_tree_of(input);
}

} // namespace mh::fuzz
