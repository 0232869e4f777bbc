// The density estimator.
// SPDX-License-Identifier: MIT
#include "integrate/density.h"

#include "accel/state.h"
#include "geometry/state.h"
#include "integrate/atomic_sums.h"
#include "integrate/state.h"
#include "math/at.h"
#include "math/faces.h"
#include "math/memory.h"
#include "run/report.h"
#include "run/state.h"
#include "shading/state.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace mh {

namespace {

constexpr std::uint32_t kFinest = 255;             // cells along an edge
constexpr float kSmallestResolution = 1e-8f;       // scene units squared
constexpr float kSmallestArea = 1e-5f;             // of a face that receives light
constexpr std::uint64_t kMemoryLimit = 0x40000000; // bytes of cells in a part: 1 GiB
constexpr std::uint64_t kSides = 2;                // sums of a cell: front, back

static_assert(sizeof(DensityCell) == 24);

float area_of(const Part& part, const Triangle& face) {
    const auto& v = face.vertex;
    return triangle_area(part.positions[v[0]], part.positions[v[1]], part.positions[v[2]]);
}

float area_of(const Part& part, const Tetragon& face) {
    const auto& v = face.vertex;
    return tetragon_area(part.positions[v[0]], part.positions[v[1]], part.positions[v[2]],
                         part.positions[v[3]]);
}

bool scatters_diffusely(std::uint32_t shader) {
    if (shader >= Shaders.size()) return false;
    const SideFlags &face = Shaders[shader].face, &back = Shaders[shader].back;
    return face.lambertian || face.transmissive || back.lambertian || back.transmissive;
}

// Smallest N whose cells are smaller than the resolution.
std::uint32_t resolution_of(float area) {
    for (std::uint32_t n = 1; n < kFinest; ++n)
        if (area < RendererSettings.resolution * static_cast<float>(n * n)) return n;
    return kFinest;
}

// Lays out the cells of the faces from `first` on; returns the end.
template<typename Face>
std::uint64_t lay_out(const Part& part, const std::vector<Face>& faces,
                      std::vector<FaceCells>& cells, std::uint64_t first) {
    cells.resize(faces.size());
    for (std::size_t i = 0; i < faces.size(); ++i) {
        const float area = area_of(part, faces[i]);
        const std::uint32_t n = scatters_diffusely(faces[i].shader) ? resolution_of(area) : 1;
        const float count = static_cast<float>(n * n);
        cells[i] = {first, n, area > kSmallestArea ? count / area : 0.0f};
        first += std::uint64_t{n} * n;
    }
    return first;
}

// Lays out the cells of the part's faces; returns how many there are.
std::uint64_t lay_out(const Part& part, DensityGrid& grid) {
    if (!(RendererSettings.resolution >= kSmallestResolution)) return 0;
    const std::uint64_t of_triangles = lay_out(part, part.triangles, grid.triangle_cells, 0);
    return lay_out(part, part.tetragons, grid.tetragon_cells, of_triangles);
}

bool is_too_large(std::uint64_t cells) {
    return cells * sizeof(DensityCell) > kMemoryLimit;
}

// For the cells and the sums that fill them.
bool fits_memory(double cells) {
    if (FitsMemory(cells * kBytesOfCell)) return true;
    ReportError("density estimator - " + std::to_string(static_cast<std::int64_t>(cells))
                + " cells need more memory than there is; no photons are gathered");
    return false;
}

void allocate(DensityGrid& grid, std::uint64_t cells) {
    if (cells == 0) return;
    if (is_too_large(cells)) {
        ReportText("density estimator consumes more than 1GB memory.");
        ReportRule();
        std::exit(1);
    }
    grid.cells.resize(cells);
    const float bytes = static_cast<float>(cells * sizeof(DensityCell));
    ReportLine("density estimator buffer", bytes * kMegabytesPerByte, "M bytes");
}

// trunc(x * n), from 0 to n - 1; 0 for NaN.
std::int32_t cell_along(float x, std::uint32_t n) {
    const float scaled = x * static_cast<float>(n);
    const float last = static_cast<float>(n - 1);
    if (!(scaled > 0.0f)) return 0;
    return static_cast<std::int32_t>(std::min(scaled, last));
}

// Row i of a triangle, counted from the first corner, holds 2 i + 1 cells.
std::uint64_t triangle_cell(const Ray& ray, const FaceCells& face) {
    const std::int32_t i = cell_along(1.0f - ray.hit_a, face.resolution);
    const std::int32_t j = cell_along(1.0f - ray.hit_b, face.resolution);
    const std::int32_t k = cell_along(1.0f - ray.hit_c, face.resolution);
    const std::int32_t in_row = std::clamp(i + j - k, 0, 2 * i); // weights are rounded
    return face.first_cell + static_cast<std::uint64_t>(i * i + in_row);
}

std::uint64_t tetragon_cell(const Ray& ray, const FaceCells& face) {
    const std::int32_t i = cell_along(ray.hit_a, face.resolution);
    const std::int32_t j = cell_along(ray.hit_b, face.resolution);
    const auto n = static_cast<std::int32_t>(face.resolution);
    return face.first_cell + static_cast<std::uint64_t>(n * i + j);
}

// The cell of a hit: its index in the grid of the part, and the cells of its face; null without
// one.
struct CellOfHit {
    const DensityGrid* grid = nullptr;
    const FaceCells* face = nullptr;
    std::uint64_t index = 0;
};

CellOfHit cell_of(const Ray& ray) {
    if (!ray.hit_in_root || ray.hit_part == nullptr) return {};
    if (IntegrateState.density_grids.empty()) return {};
    const DensityGrid& grid =
        at(IntegrateState.density_grids, ray.hit_part - IntegrateState.first_part);
    const bool triangle = ray.hit_kind == HitKind::triangle;
    if (!triangle && ray.hit_kind != HitKind::tetragon) return {};
    const std::vector<FaceCells>& faces = triangle ? grid.triangle_cells : grid.tetragon_cells;
    if (!has_record(faces, ray.hit_primitive)) return {};
    const FaceCells& face = at(faces, ray.hit_primitive);
    return {&grid, &face, triangle ? triangle_cell(ray, face) : tetragon_cell(ray, face)};
}

Vec3 read(const Ray& ray, bool front) {
    const CellOfHit hit = cell_of(ray);
    if (hit.face == nullptr) return {};
    const DensityCell& cell = hit.grid->cells[hit.index];
    return front ? cell.front : cell.back;
}

} // namespace

const double kBytesOfCell = sizeof(DensityCell) + kSides * 3.0 * sizeof(FixedPoint);

std::uint64_t CellsOf(const Part& part) {
    std::uint64_t count = 0;
    const auto add = [&](float area) {
        const std::uint64_t n = resolution_of(area);
        count += n * n;
    };
    for (const Triangle& face : part.triangles)
        add(area_of(part, face));
    for (const Tetragon& face : part.tetragons)
        add(area_of(part, face));
    return count;
}

void InitializeDensity() {
    IntegrateState.resolution_of_grids = RendererSettings.resolution;
    std::vector<DensityGrid>& grids = IntegrateState.density_grids;
    grids = {};
    if (RootObjectIndex >= Objects.size()) return;
    const std::vector<Part>& parts = Objects[RootObjectIndex].parts;
    grids.resize(parts.size());
    IntegrateState.first_part = parts.data();
    std::vector<std::uint64_t> counts;
    double cells = 0.0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        counts.push_back(lay_out(parts[i], grids[i]));
        if (is_too_large(counts.back())) break; // where the run ends
        cells += static_cast<double>(counts.back());
    }
    if (!fits_memory(cells)) {
        ReleaseDensity();
        return;
    }
    for (std::size_t i = 0; i < counts.size(); ++i)
        allocate(grids[i], counts[i]);
}

void ReleaseDensity() {
    IntegrateState.density_grids = {};
}

void UpdateDensity() {
    if (RendererSettings.resolution != IntegrateState.resolution_of_grids) InitializeDensity();
}

void StartDeposits() {
    std::uint64_t count = 0;
    for (DensityGrid& grid : IntegrateState.density_grids) {
        grid.first_sum = count;
        count += kSides * grid.cells.size();
    }
    ResizeSums(IntegrateState.density_sums, count);
}

void deposit(const Ray& ray, const Vec3& value) {
    const CellOfHit hit = cell_of(ray);
    if (hit.face == nullptr || IntegrateState.density_sums.values.empty()) return;
    const std::uint64_t side = ray.front_side ? 0 : 1;
    const std::uint64_t sum = hit.grid->first_sum + kSides * hit.index + side;
    add_to_sum(IntegrateState.density_sums, sum, value * hit.face->cells_per_area);
}

void FinishDeposits() {
    AtomicSums& sums = IntegrateState.density_sums;
    if (sums.values.empty()) return;
    for (DensityGrid& grid : IntegrateState.density_grids) {
        std::uint64_t sum = grid.first_sum;
        for (DensityCell& cell : grid.cells) {
            cell = {sum_at(sums, sum), sum_at(sums, sum + 1)};
            sum += kSides;
        }
    }
    ReleaseSums(sums);
}

Vec3 density_lambertian(const Ray& ray) {
    return read(ray, ray.front_side);
}

Vec3 density_transmissive(const Ray& ray) {
    return read(ray, !ray.front_side);
}

} // namespace mh
