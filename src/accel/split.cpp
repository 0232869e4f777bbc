// Bins, the best split plane and the partition of a range; called by the build for every node.
// SPDX-License-Identifier: MIT
#include "accel/split.h"

#include <utility>

namespace mh {

namespace {

Float4 center(const BuildBox& box) {
    return 0.5f * (box.min + box.max);
}

void merge_point(BuildBox& box, const Float4& point) {
    box.min = min4(point, box.min);
    box.max = max4(point, box.max);
}

float half_area(const BuildBox& box) {
    const Float4 d = max4(box.max - box.min, Float4{});
    return (d[1] + d[2]) * d[0] + d[1] * d[2];
}

bool contains(const BuildBox& outer, const BuildBox& inner) {
    return all_three((inner.min >= outer.min) & (inner.max <= outer.max));
}

float cost(float area, std::uint32_t count) {
    return area * static_cast<float>(count);
}

// Bin numbers of a center on the three axes. An axis without extent divides 0 by 0: bin 0.
Int4 bin_numbers(Float4 point, Float4 first, Float4 extent) {
    constexpr Float4 kLast = {kBins - 1, kBins - 1, kBins - 1, 0.0f};
    const Float4 position = static_cast<float>(kBins) * ((point - first) / extent);
    return truncate(min4(max4(position, Float4{}), kLast));
}

// Improves the best split by the seven planes of one axis. A plane behind an empty bin divides as
// the one before it does: bin 0 holds the least center.
void try_axis(const BuildBox (&box)[kBins], const std::uint32_t (&count)[kBins], float& best,
              Split& split) {
    BuildBox suffix[kBins];
    float suffix_cost[kBins];
    BuildBox right = kEmptyBuildBox;
    std::uint32_t right_count = 0;
    float right_cost = 0.0f;
    for (int i = kBins - 1; i > 0; --i) {
        if (count[i] != 0) {
            merge(right, box[i]);
            right_count += count[i];
            right_cost = cost(half_area(right), right_count);
        }
        suffix[i] = right;
        suffix_cost[i] = right_cost;
    }
    BuildBox left = kEmptyBuildBox;
    std::uint32_t left_count = 0;
    for (int plane = 0; plane < kBins - 1; ++plane) {
        if (count[plane] == 0) continue;
        merge(left, box[plane]);
        left_count += count[plane];
        const float total = cost(half_area(left), left_count) + suffix_cost[plane + 1];
        if (!(total < best)) continue;
        best = total;
        split = {true, left, suffix[plane + 1]};
    }
}

} // namespace

BuildBox to_build_box(const Aabb& box) {
    return {Float4{box.min.x, box.min.y, box.min.z}, Float4{box.max.x, box.max.y, box.max.z}};
}

Aabb to_aabb(const BuildBox& box) {
    return {{box.min[0], box.min[1], box.min[2]}, {box.max[0], box.max[1], box.max[2]}};
}

BuildBox range_bounds(const BuildItems& items, const BuildRange& range) {
    BuildBox bounds = kEmptyBuildBox;
    for (std::uint32_t i = 0; i < range.count; ++i)
        merge(bounds, items.boxes[range.first + i]);
    return bounds;
}

BuildBox center_bounds(const BuildItems& items, const BuildRange& range) {
    BuildBox bounds = kEmptyBuildBox;
    for (std::uint32_t i = 0; i < range.count; ++i)
        merge_point(bounds, center(items.boxes[range.first + i]));
    return bounds;
}

bool is_point(const BuildBox& centers) {
    const Int4 extended = centers.max > centers.min;
    return (extended[0] | extended[1] | extended[2]) == 0;
}

Bins empty_bins() {
    Bins bins = {};
    for (auto& axis : bins.box) {
        for (BuildBox& box : axis)
            box = kEmptyBuildBox;
    }
    return bins;
}

void add_to_bins(Bins& bins, const BuildItems& items, const BuildRange& range,
                 const BuildBox& centers) {
    const Float4 first = centers.min, extent = centers.max - centers.min;
    for (std::uint32_t i = 0; i < range.count; ++i) {
        const BuildBox box = items.boxes[range.first + i];
        const Int4 number = bin_numbers(center(box), first, extent);
        for (int axis = 0; axis < 3; ++axis) {
            merge(bins.box[axis][number[axis]], box);
            ++bins.count[axis][number[axis]];
        }
    }
}

void merge(Bins& bins, const Bins& other) {
    for (int axis = 0; axis < 3; ++axis) {
        for (int i = 0; i < kBins; ++i) {
            merge(bins.box[axis][i], other.box[axis][i]);
            bins.count[axis][i] += other.count[axis][i];
        }
    }
}

Split best_split(const Bins& bins, const BuildBox& centers) {
    Split split;
    float best = kFar;
    for (int axis = 0; axis < 3; ++axis) {
        if (centers.max[axis] > centers.min[axis])
            try_axis(bins.box[axis], bins.count[axis], best, split);
    }
    return split;
}

// The lower center falls into bin 0 and the upper one into bin 7 of the first axis with an extent;
// all planes of all axes cost the same.
Split pair_split(const BuildItems& items, std::uint32_t first, const BuildBox& centers) {
    const BuildBox &a = items.boxes[first], &b = items.boxes[first + 1];
    if (!(half_area(a) + half_area(b) < kFar)) return {};
    for (int axis = 0; axis < 3; ++axis) {
        if (!(centers.max[axis] > centers.min[axis])) continue;
        const bool ordered = center(a)[axis] == centers.min[axis];
        return {true, ordered ? a : b, ordered ? b : a};
    }
    return {};
}

Partition partition(const BuildItems& items, const BuildRange& range, const Split& split) {
    const BuildBox left = split.left, right = split.right;
    const bool left_is_smaller = half_area(right) > half_area(left);
    Partition result;
    std::uint32_t end = range.first + range.count;
    std::uint32_t position = range.first;
    while (position < end) {
        const BuildBox box = items.boxes[position];
        const bool in_left = contains(left, box), in_right = contains(right, box);
        if (in_left && (left_is_smaller || !in_right)) {
            merge_point(result.left_centers, center(box));
            ++position;
        } else { // also a box that is not a number: each step must make the rest smaller
            merge_point(result.right_centers, center(box));
            --end;
            std::swap(items.references[position], items.references[end]);
            std::swap(items.boxes[position], items.boxes[end]);
        }
    }
    result.left = position - range.first;
    return result;
}

} // namespace mh
