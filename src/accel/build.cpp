// Topology of the binary tree: top-down binned surface-area splits [Wald07]. Large nodes are split
// level by level with all threads on each; the subtrees below them are built by one thread each.
// Called once per object by the scene assembly.
// SPDX-License-Identifier: MIT
#include "accel/bounds.h"
#include "accel/split.h"
#include "accel/tree.h"
#include "math/at.h"
#include "math/clock.h"
#include "math/memory.h"
#include "math/stop.h"
#include "math/threads.h"
#include "run/report.h"

#include <algorithm>
#include <span>

namespace mh {

namespace {

constexpr std::uint32_t kDeepestLevel = 255;
constexpr std::uint32_t kParts = 256;         // that references can tell apart
constexpr std::uint32_t kSmallObject = 16384; // below, a parallel region costs more than it saves
constexpr std::uint32_t kChunk = 8192;        // references a thread takes at a time

struct BuildTask {
    std::uint32_t node = 0, level = 0;
    BuildRange range;
    BuildBox centers = kEmptyBuildBox; // bounds of the centers in the range
};

struct Builder {
    std::span<BinaryNode> nodes;
    BuildItems items;
    std::uint32_t grain = 0; // ranges above are split by all threads together
};

// Above it a range is split by all threads together. Eight subtrees a thread share out well; the
// tree does not depend on it.
std::uint32_t grain_of(std::uint32_t count) {
    return std::max(kSmallObject, count / (8 * static_cast<std::uint32_t>(team_size())));
}

// Appends references to `count` primitives of a kind. Part 256 shares its number with part 0: where
// that one is shorter, the rest is left out.
void append_references(Tree& tree, std::size_t part, PrimitiveKind kind, std::size_t count,
                       std::size_t addressable) {
    for (std::size_t i = 0; i < std::min(count, addressable); ++i)
        tree.binary_references.push_back(
            {static_cast<std::uint16_t>(part % kParts), kind, static_cast<std::uint32_t>(i)});
}

std::size_t primitive_count(const Part& part) {
    return part.particles.size() + part.cylinders.size() + part.triangles.size()
           + part.tetragons.size();
}

void make_references(const Object& object, Tree& tree) {
    tree.binary_references.reserve(PrimitiveCount(object));
    for (std::size_t i = 0; i < object.parts.size(); ++i) {
        const Part &part = object.parts[i], &named = object.parts[i % kParts];
        append_references(tree, i, PrimitiveKind::particle, part.particles.size(),
                          named.particles.size());
        append_references(tree, i, PrimitiveKind::cylinder, part.cylinders.size(),
                          named.cylinders.size());
        append_references(tree, i, PrimitiveKind::triangle, part.triangles.size(),
                          named.triangles.size());
        append_references(tree, i, PrimitiveKind::tetragon, part.tetragons.size(),
                          named.tetragons.size());
    }
    for (std::size_t i = 0; i < object.instances.size(); ++i) {
        if (object.instances[i].usable)
            tree.binary_references.push_back(
                {0, PrimitiveKind::instance, static_cast<std::uint32_t>(i)});
    }
    if (const std::string lost = LostParts(object); !lost.empty()) ReportError(lost);
}

std::int64_t chunk_count(const BuildRange& range) {
    return (static_cast<std::int64_t>(range.count) + kChunk - 1) / kChunk;
}

BuildRange chunk_of(const BuildRange& range, std::int64_t chunk) {
    const std::uint32_t start = static_cast<std::uint32_t>(chunk) * kChunk;
    return {range.first + start, std::min(kChunk, range.count - start)};
}

// Boxes of all references; returns the bounds of their centers.
BuildBox make_boxes(const Object& object, const BuildItems& items, const BuildRange& range) {
    BuildBox centers = kEmptyBuildBox;
#pragma omp parallel for num_threads(team_size()) if (range.count > kSmallObject)                  \
    schedule(dynamic) default(none) shared(object, items, range, centers)
    for (std::int64_t c = 0; c < chunk_count(range); ++c) {
        const BuildRange chunk = chunk_of(range, c);
        for (std::uint32_t i = chunk.first; i < chunk.first + chunk.count; ++i)
            items.boxes[i] = to_build_box(reference_bounds(object, items.references[i]));
        const BuildBox mine = center_bounds(items, chunk);
#pragma omp critical(mh_build)
        merge(centers, mine);
    }
    return centers;
}

// Bins of a range by all threads; the order in which they merge has no effect.
Bins bin_by_all(const BuildItems& items, const BuildRange& range, const BuildBox& centers) {
    Bins bins = empty_bins();
#pragma omp parallel num_threads(team_size()) default(none) shared(items, range, centers, bins)
    {
        Bins mine = empty_bins();
#pragma omp for schedule(static) nowait
        for (std::int64_t c = 0; c < chunk_count(range); ++c)
            add_to_bins(mine, items, chunk_of(range, c), centers);
#pragma omp critical(mh_build)
        merge(bins, mine);
    }
    return bins;
}

Split find_split(const Builder& builder, const BuildTask& task) {
    const BuildRange& range = task.range;
    if (range.count == 2) return pair_split(builder.items, range.first, task.centers);
    if (range.count > builder.grain)
        return best_split(bin_by_all(builder.items, range, task.centers), task.centers);
    Bins bins = empty_bins();
    add_to_bins(bins, builder.items, range, task.centers);
    return best_split(bins, task.centers);
}

Partition middle(const BuildItems& items, const BuildRange& range) {
    const std::uint32_t left = range.count / 2;
    return {left, center_bounds(items, {range.first, left}),
            center_bounds(items, {range.first + left, range.count - left})};
}

// Divides the range of the task; `left` is 0 or all of it when the task is to be a leaf.
Partition divide(const Builder& builder, const BuildTask& task) {
    Partition parts;
    if (task.level < kDeepestLevel && task.range.count > 1 && !is_point(task.centers)) {
        const Split split = find_split(builder, task);
        if (split.found) parts = partition(builder.items, task.range, split);
    }
    const bool divided = parts.left > 0 && parts.left < task.range.count;
    return divided || task.range.count <= kMaxLeaf ? parts : middle(builder.items, task.range);
}

// The places of the nodes that would divide the references of a leaf.
void clear_unused(std::span<BinaryNode> nodes, const BuildRange& range) {
    for (std::uint32_t place = range.first + 1; place < range.first + range.count; ++place)
        nodes[2 * place - 1] = nodes[2 * place] = {};
}

// Makes the task's node a leaf, or an inner node with a task for each child. The children's place
// follows from where the references divide, so that threads need not agree on it: n references
// have n - 1 such places.
bool split_node(const Builder& builder, const BuildTask& task, BuildTask& left, BuildTask& right) {
    const BuildRange& range = task.range;
    BinaryNode& node = builder.nodes[task.node];
    node.primitives = range.count;
    const Partition parts = divide(builder, task);
    if (parts.left == 0 || parts.left == range.count) {
        node.first = range.first;
        node.count = range.count;
        node.box = to_aabb(range_bounds(builder.items, range));
        clear_unused(builder.nodes, range);
        return false;
    }
    const std::uint32_t place = range.first + parts.left;
    node.first = 2 * place - 1;
    node.count = 0;
    left = {node.first, task.level + 1, {range.first, parts.left}, parts.left_centers};
    right = {
        node.first + 1, task.level + 1, {place, range.count - parts.left}, parts.right_centers};
    return true;
}

// Returns the deepest level of the subtree.
std::uint32_t build_subtree(const Builder& builder, const BuildTask& task) {
    BuildTask left, right;
    if (stop_requested() || !split_node(builder, task, left, right)) return task.level;
    return std::max(build_subtree(builder, left), build_subtree(builder, right));
}

void report_level(std::uint32_t level, bool last) {
    ReportProgress("tree construction wavefront", static_cast<std::int32_t>(level), "n/a", last);
}

// Splits every node above the grain; returns the tasks that are left and the level reached.
std::vector<BuildTask> build_top(const Builder& builder, const BuildTask& root,
                                 std::uint32_t& level) {
    std::vector<BuildTask> wavefront = {root}, subtrees, next;
    for (level = 0; !wavefront.empty() && !stop_requested(); ++level) {
        report_level(level, false);
        next.clear();
        for (const BuildTask& task : wavefront) {
            BuildTask left, right;
            if (task.range.count <= builder.grain)
                subtrees.push_back(task);
            else if (split_node(builder, task, left, right))
                next.insert(next.end(), {left, right});
        }
        wavefront.swap(next);
    }
    return subtrees;
}

std::uint32_t build_subtrees(const Builder& builder, std::vector<BuildTask>& tasks) {
    std::stable_sort(tasks.begin(), tasks.end(), [](const BuildTask& a, const BuildTask& b) {
        return a.range.count > b.range.count; // the longest first, so that threads end together
    });
    std::uint32_t deepest = 0;
    Caught caught;
#pragma omp parallel for num_threads(team_size()) if (tasks.size() > 1)                            \
    schedule(dynamic, 1) default(none) shared(builder, tasks, caught) reduction(max                \
                                                                                : deepest)
    for (std::size_t i = 0; i < tasks.size(); ++i)
        keep_exceptions(caught,
                        [&] { deepest = std::max(deepest, build_subtree(builder, tasks[i])); });
    throw_caught(caught);
    return deepest;
}

// Levels below the wavefront are reported when all of them are done.
void build_tree(const Builder& builder, const BuildTask& root) {
    std::uint32_t level = 0;
    std::vector<BuildTask> tasks = build_top(builder, root, level);
    const std::uint32_t deepest = build_subtrees(builder, tasks);
    for (; level <= deepest; ++level)
        report_level(level, false);
    report_level(level, true);
}

} // namespace

// References to primitives of part 256 and above lead to those of an earlier part: none of them is
// hit.
std::string LostParts(const Object& object) {
    if (object.parts.size() <= kParts) return {};
    std::size_t lost = 0;
    for (std::size_t i = kParts; i < object.parts.size(); ++i)
        lost += primitive_count(object.parts[i]);
    return "object - " + object.name
           + " has more than 256 parts: those above repeat the first, and " + std::to_string(lost)
           + " primitives are lost";
}

std::string TooLarge(const Object& object) {
    const std::size_t count = PrimitiveCount(object);
    const bool countable = count <= kMostPrimitives;
    if (countable && FitsMemory(kTreeBytesOfPrimitive * static_cast<double>(count))) return {};
    return "object - " + object.name + " of " + std::to_string(count)
           + (countable
                  ? " primitives needs more memory than there is"
                  : " primitives is left out: a tree holds up to " + std::to_string(kMostPrimitives)
                        + "; divide it into several objects");
}

std::size_t PrimitiveCount(const Object& object) {
    std::size_t count = object.instances.size();
    for (const Part& part : object.parts)
        count += part.particles.size() + part.cylinders.size() + part.triangles.size()
                 + part.tetragons.size();
    return count;
}

void Build(const Object& object, Tree& tree) {
    const std::int64_t start = microseconds_now();
    tree = {};
    make_references(object, tree);
    const BuildRange all = {0, static_cast<std::uint32_t>(tree.binary_references.size())};
    RawVector<BuildBox> boxes(all.count);
    if (all.count > 0) tree.binary_nodes.resize(2 * to_size(all.count) - 1);
    const Builder builder = {
        tree.binary_nodes, {tree.binary_references.data(), boxes.data()}, grain_of(all.count)};
    if (all.count == 0) {
        report_level(0, false);
        report_level(1, true);
    } else {
        build_tree(builder, {0, 0, all, make_boxes(object, builder.items, all)});
    }
    ReportLine("bbvh construction for " + object.name, seconds_since(start), "seconds");
    ReportRule();
}

} // namespace mh
