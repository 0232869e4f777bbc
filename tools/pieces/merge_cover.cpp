// Overlaps and gaps of pieces.
// SPDX-License-Identifier: MIT
#include "pieces/merge_cover.h"

#include "output/camera.h"

#include <algorithm>
#include <vector>

namespace mh {

namespace {

bool overlap(const PixelRegion& a, const PixelRegion& b) {
    return a.x0 < b.x1 && b.x0 < a.x1 && a.y0 < b.y1 && b.y0 < a.y1;
}

bool overlap(const PieceBox& a, const PieceBox& b) {
    return a.first < b.end && b.first < a.end && overlap(a.region, b.region);
}

// The places, within the whole, at which some box begins or ends along an axis.
template<typename Begin, typename End>
std::vector<std::int32_t> cuts_of(std::span<const PieceBox> boxes, std::int32_t first,
                                  std::int32_t end, Begin begin_of, End end_of) {
    std::vector<std::int32_t> cuts = {first, end};
    for (const PieceBox& box : boxes)
        for (const std::int32_t cut : {begin_of(box.region), end_of(box.region)})
            if (cut > first && cut < end) cuts.push_back(cut);
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
    return cuts;
}

// The first frames that no box over this cell of the picture holds.
std::string gap_of_cell(std::span<const PieceBox> by_frame, const PixelRegion& cell,
                        std::uint32_t first, std::uint32_t end) {
    std::uint32_t done = first, next = end;
    for (const PieceBox& box : by_frame) {
        if (!overlap(box.region, cell)) continue;
        next = box.first;
        if (next > done) break;
        done = box.end;
        next = end;
    }
    if (done >= end) return {};
    return "frames " + std::to_string(done) + " to " + std::to_string(next - 1) + " of columns "
           + std::to_string(cell.x0) + " to " + std::to_string(cell.x1 - 1) + " and rows "
           + std::to_string(cell.y0) + " to " + std::to_string(cell.y1 - 1);
}

} // namespace

std::optional<std::array<std::size_t, 2>> FindOverlap(std::span<const PieceBox> boxes) {
    for (std::size_t i = 0; i < boxes.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (overlap(boxes[i], boxes[j])) return {{j, i}};
    return std::nullopt;
}

std::string FindGap(std::span<const PieceBox> boxes, const PieceBox& whole) {
    std::vector<PieceBox> by_frame(boxes.begin(), boxes.end());
    std::sort(by_frame.begin(), by_frame.end(),
              [](const PieceBox& a, const PieceBox& b) { return a.first < b.first; });
    const PixelRegion& region = whole.region;
    const auto columns = cuts_of(
        boxes, region.x0, region.x1, [](const PixelRegion& r) { return r.x0; },
        [](const PixelRegion& r) { return r.x1; });
    const auto rows = cuts_of(
        boxes, region.y0, region.y1, [](const PixelRegion& r) { return r.y0; },
        [](const PixelRegion& r) { return r.y1; });
    for (std::size_t y = 0; y + 1 < rows.size(); ++y)
        for (std::size_t x = 0; x + 1 < columns.size(); ++x) {
            const PixelRegion cell = {columns[x], rows[y], columns[x + 1], rows[y + 1]};
            std::string gap = gap_of_cell(by_frame, cell, whole.first, whole.end);
            if (!gap.empty()) return gap;
        }
    return {};
}

} // namespace mh
