// Photon files: caustic photons, the cells of each density grid, and splats if there are any, each
// a section.
// SPDX-License-Identifier: MIT
#include "pieces/photon_file.h"

#include "integrate/state.h"
#include "output/camera.h"
#include "pieces/section_file.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace mh {

namespace {

constexpr FileKind kKind = {"photons", "photon file", 2};

constexpr std::uint64_t kMostPhotons = 1u << 30; // that their tree can number

// Bytes of the sections.
struct Sizes {
    std::uint64_t photons = 0, splats = 0;
    std::vector<std::uint64_t> cells; // of each grid

    bool operator==(const Sizes&) const = default;
};

std::vector<Image*> splat_images() {
    std::vector<Image*> images;
    if (Camera* camera = ActiveCamera())
        for (Aov& aov : camera->aovs)
            if (holds(aov, Channel::light_path)) images.push_back(&aov.image);
    return images;
}

// Of this scene; the number of its photons is not known before they are cast.
Sizes sizes_here() {
    Sizes sizes;
    sizes.photons = bytes_of(Photons).size();
    for (const DensityGrid& grid : IntegrateState.density_grids)
        sizes.cells.push_back(bytes_of(grid.cells).size());
    const std::vector<Image*> images = splat_images();
    if (!images.empty()) sizes.splats = bytes_of(images[0]->floats).size();
    return sizes;
}

// A file that holds exactly these sections, and whole photons.
bool fit(const Sizes& sizes, const SectionFile& file) {
    std::uint64_t position = file.data;
    std::vector<std::uint64_t> sections = sizes.cells;
    sections.insert(sections.end(), {sizes.photons, sizes.splats});
    for (const std::uint64_t size : sections) {
        if (size > file.input.size_bytes) return false;
        position += size + kSumSize;
    }
    const std::uint64_t photons = sizes.photons / sizeof(CausticPhoton);
    return position == file.input.size_bytes && sizes.photons % sizeof(CausticPhoton) == 0
           && photons <= kMostPhotons && FitsMemory(file.input);
}

std::string open_photons(const std::string& path, const Identity& identity, SectionFile& file,
                         Sizes& sizes) {
    std::string fault = OpenSections(path, kKind, file);
    if (!fault.empty()) return fault;
    Bytes fields = {file.header};
    Identity found;
    take(fields, found);
    take(fields, sizes.photons);
    take(fields, sizes.splats);
    take_array(fields, sizes.cells);
    if (!fields.good || !fields.rest.empty() || !fit(sizes, file)) return kDamaged;
    return DifferenceFrom(identity, found);
}

bool is_sound(const CausticPhoton& photon) {
    return is_finite(photon.position) && is_finite(photon.power);
}

template<typename T>
bool read_array(SectionFile& file, std::vector<T>& values) {
    return ReadSection(file, {reinterpret_cast<char*>(values.data()), values.size() * sizeof(T)});
}

bool read_all(SectionFile& file, const Sizes& sizes) {
    Photons.resize(sizes.photons / sizeof(CausticPhoton));
    if (!read_array(file, Photons)) return false;
    for (DensityGrid& grid : IntegrateState.density_grids)
        if (!read_array(file, grid.cells)) return false;
    std::vector<float> splats(sizes.splats / sizeof(float));
    if (!read_array(file, splats)) return false;
    for (Image* image : splat_images())
        image->floats = splats;
    return std::all_of(Photons.begin(), Photons.end(), is_sound);
}

} // namespace

std::string WritePhotons(const std::string& path, const Identity& identity) {
    const Sizes sizes = sizes_here();
    std::string header;
    put(header, identity);
    put(header, sizes.photons);
    put(header, sizes.splats);
    put_array(header, sizes.cells);
    std::vector<std::string_view> sections = {bytes_of(Photons)};
    for (const DensityGrid& grid : IntegrateState.density_grids)
        sections.push_back(bytes_of(grid.cells));
    const std::vector<Image*> images = splat_images();
    sections.push_back(images.empty() ? std::string_view() : bytes_of(images[0]->floats));
    return WriteSections(path, kKind, header, sections);
}

std::string CheckPhotons(const std::string& path, const Identity& identity) {
    SectionFile file;
    Sizes sizes;
    if (std::string fault = open_photons(path, identity, file, sizes); !fault.empty()) return fault;
    std::vector<std::uint64_t> sections = {sizes.photons};
    sections.insert(sections.end(), sizes.cells.begin(), sizes.cells.end());
    sections.push_back(sizes.splats);
    std::uint64_t sum = 0;
    const auto is_whole = [&](std::uint64_t size) { return CheckSection(file, size, sum); };
    return std::all_of(sections.begin(), sections.end(), is_whole) ? "" : kDamaged;
}

std::string ReadPhotons(const std::string& path, const Identity& identity) {
    SectionFile file;
    Sizes sizes;
    Photons.clear();
    if (std::string fault = open_photons(path, identity, file, sizes); !fault.empty()) return fault;
    Sizes here = sizes_here();
    here.photons = sizes.photons;
    if (here != sizes) return "has other density cells or splats than the scene";
    if (read_all(file, sizes)) return {};
    Photons.clear();
    return kDamaged;
}

bool IsNoPhotonFile(const std::string& path) {
    return IsOfOtherKind(path, kKind);
}

} // namespace mh
