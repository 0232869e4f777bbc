// Construction and search of the photon tree. A range of photons is cut across its longest side at
// the cheapest of 16 planes by surface area; the top levels are shared out among threads.
// SPDX-License-Identifier: MIT
#include "integrate/photon_tree.h"

#include "integrate/packed_direction.h"
#include "math/at.h"
#include "math/axis.h"
#include "math/stop.h"
#include "math/threads.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>

namespace mh {

namespace {

constexpr std::int32_t kLargestLeaf = 16;
constexpr int kDeepestLevel = 31;
constexpr int kDeepestThreadLevel = 16;          // from here on a range is not worth a thread
constexpr std::int32_t kSmallestOfThread = 1025; // photons
constexpr int kPlanes = 16;

// What the threads of one construction share.
struct Construction {
    std::vector<CausticPhoton>& photons;
    std::vector<PhotonNode>& nodes;
    float shortest_side = 0.0f;
    std::atomic<std::int32_t> used_nodes = 1;
    std::atomic<int> free_threads = 0;
};

struct Range {
    std::int32_t first = 0, count = 0;
};

PhotonNode leaf(Range range) {
    return {range.first, 0.0f, 0, static_cast<std::uint32_t>(range.count) & 0x3FFFFFFFu};
}

Aabb bounds_of(const Construction& work, Range range) {
    Aabb box;
    for (std::int32_t i = range.first; i < range.first + range.count; ++i)
        merge(box, at(work.photons, i).position);
    return box;
}

// Number of photons in each of the 17 intervals of the box along the axis.
std::array<std::int32_t, kPlanes + 1> count_intervals(const Construction& work, Range range,
                                                      const Aabb& box, int axis) {
    std::array<std::int32_t, kPlanes + 1> counts = {};
    const float low = component(box.min, axis);
    const float scale = static_cast<float>(kPlanes + 1) / (component(box.max, axis) - low);
    for (std::int32_t i = range.first; i < range.first + range.count; ++i) {
        const Vec3& position = at(work.photons, i).position;
        const float interval = (component(position, axis) - low) * scale;
        // Of positions too far apart to subtract nothing is known: they count as the first.
        const float limited = std::min(std::max(0.0f, interval), static_cast<float>(kPlanes));
        ++counts[static_cast<std::size_t>(limited)];
    }
    return counts;
}

// The plane of least cost, half area times photons summed over both halves.
float best_plane(const Construction& work, Range range, const Aabb& box, int axis) {
    const auto counts = count_intervals(work, range, box, axis);
    const float low = component(box.min, axis), length = component(box.max, axis) - low;
    float best = low + 0.5f * length, best_cost = kFar;
    std::int32_t below = 0;
    for (int k = 1; k <= kPlanes; ++k) {
        below += at(counts, k - 1);
        const float plane = low + length * static_cast<float>(k) / static_cast<float>(kPlanes + 1);
        Aabb lower = box, upper = box;
        set_component(lower.max, axis, plane);
        set_component(upper.min, axis, plane);
        const float cost = half_area(lower) * static_cast<float>(below)
                           + half_area(upper) * static_cast<float>(range.count - below);
        if (!(cost < best_cost)) continue;
        best_cost = cost;
        best = plane;
    }
    return best;
}

Range partition(Construction& work, Range range, int axis, float plane) {
    const auto first = work.photons.begin() + range.first;
    const auto middle =
        std::partition(first, first + range.count, [=](const CausticPhoton& photon) {
            return component(photon.position, axis) < plane;
        });
    return {range.first, static_cast<std::int32_t>(middle - first)};
}

void grow(Construction& work, std::int32_t node, Range range, int level);

// Grows the smaller subtree on a thread of its own; false when none is to be had.
bool grow_apart(Construction& work, std::int32_t node, Range range, int level,
                std::thread& thread) {
    if (work.free_threads.fetch_sub(1) > 0) {
        try {
            thread = std::thread([=, &work] { grow(work, node, range, level); });
            return true;
        } catch (const std::exception&) { // the system is out of threads or memory
        }
    }
    work.free_threads.fetch_add(1);
    return false;
}

void grow_both(Construction& work, std::int32_t child, Range lower, Range upper, int level) {
    std::int32_t smaller_node = child, larger_node = child + 1;
    if (lower.count > upper.count) {
        std::swap(lower, upper);
        std::swap(smaller_node, larger_node);
    }
    std::thread thread;
    const bool shared = level < kDeepestThreadLevel && lower.count >= kSmallestOfThread
                        && grow_apart(work, smaller_node, lower, level, thread);
    if (!shared) grow(work, smaller_node, lower, level);
    grow(work, larger_node, upper, level);
    if (!shared) return;
    thread.join();
    work.free_threads.fetch_add(1);
}

void grow(Construction& work, std::int32_t node, Range range, int level) {
    PhotonNode& record = at(work.nodes, node);
    record = leaf(range);
    if (range.count <= kLargestLeaf || level >= kDeepestLevel || stop_requested()) return;
    const Aabb box = bounds_of(work, range);
    const Vec3 size = box.max - box.min;
    const int axis = longest_axis(size);
    const float side = component(size, axis);
    if (!(side > 0.0f && side >= work.shortest_side)) return;
    const float plane = best_plane(work, range, box, axis);
    const Range lower = partition(work, range, axis, plane);
    const Range upper = {lower.first + lower.count, range.count - lower.count};
    if (lower.count == 0 || upper.count == 0) return; // a box too thin for its floats
    const std::int32_t child = work.used_nodes.fetch_add(2);
    record = {child, plane, static_cast<std::uint32_t>(axis) & 3u, 0};
    grow_both(work, child, lower, upper, level + 1);
}

int index_of_farthest(const NearestPhotons& found) {
    const auto& distance = found.distance_squared;
    return static_cast<int>(std::max_element(distance.begin(), distance.begin() + found.count)
                            - distance.begin());
}

void keep(NearestPhotons& found, std::int32_t photon, float distance_squared) {
    const int place = found.count < kNearest ? found.count++ : found.farthest;
    at(found.distance_squared, place) = distance_squared;
    at(found.photon, place) = photon;
    if (found.count < kNearest) return;
    found.farthest = index_of_farthest(found);
    found.limit = at(found.distance_squared, found.farthest);
}

void search_leaf(const PhotonNode& leaf, const std::vector<CausticPhoton>& photons,
                 const Vec3& position, const Vec3& normal, NearestPhotons& found) {
    const std::int32_t end = leaf.first + static_cast<std::int32_t>(leaf.count);
    for (std::int32_t i = leaf.first; i < end; ++i) {
        const CausticPhoton& photon = at(photons, i);
        const Vec3 offset = photon.position - position;
        const float distance_squared = dot(offset, offset);
        if (!(distance_squared < found.limit)) continue;
        if (!(dot(unpack_unscaled(photon.direction), normal) >= 0.0f)) continue;
        keep(found, i, distance_squared);
    }
}

} // namespace

PhotonTree GrowPhotonTree(std::vector<CausticPhoton>& photons, float shortest_side) {
    PhotonTree tree;
    if (photons.empty()) return tree;
    tree.nodes.resize(2 * photons.size()); // no leaf is empty: fewer than two nodes a photon
    Construction work{photons, tree.nodes, shortest_side};
    work.free_threads = 2 * (team_size() - 1);
    const Range all = {0, static_cast<std::int32_t>(photons.size())};
    tree.box = bounds_of(work, all);
    grow(work, 0, all, 0);
    tree.nodes.resize(to_size(work.used_nodes.load()));
    tree.nodes.shrink_to_fit();
    return tree;
}

void find_nearest(const PhotonTree& tree, const std::vector<CausticPhoton>& photons,
                  const Vec3& position, const Vec3& normal, NearestPhotons& found) {
    if (tree.nodes.empty()) return;

    struct Waiting {
        std::int32_t node;
        float distance_squared; // of the plane behind which it lies
    };

    std::array<Waiting, kDeepestLevel + 1> stack;
    std::size_t waiting = 0;
    std::int32_t node = 0;
    while (true) {
        const PhotonNode& record = at(tree.nodes, node);
        if (record.count == 0) {
            const float d = component(position, static_cast<int>(record.axis)) - record.plane;
            const bool upper = d > 0.0f;
            stack[waiting++] = {upper ? record.first : record.first + 1, d * d};
            node = upper ? record.first + 1 : record.first;
            continue;
        }
        search_leaf(record, photons, position, normal, found);
        while (waiting > 0 && !(stack[waiting - 1].distance_squared < found.limit))
            --waiting;
        if (waiting == 0) return;
        node = stack[--waiting].node;
    }
}

} // namespace mh
