// Order of the children within the wide nodes: by area when the tree is made, by measured
// occlusions after the first frame.
// SPDX-License-Identifier: MIT
#include "accel/bounds.h"
#include "accel/tree.h"
#include "math/at.h"
#include "math/threads.h"

#include <utility>

namespace mh {

namespace {

constexpr std::size_t kSmallTree = 4096;  // nodes; below, one thread is as fast
constexpr float kVisitProbability = 0.9f; // of a child, relative to its parent

// What a slot holds beside the fields of the node.
struct SlotValue {
    float cost = 0.0f, share = 0.0f;
    float rank = 0.0f; // children stand in the order of falling ranks
};

using SlotValues = std::array<SlotValue, kWide>;

void swap_slots(WideNode& node, OcclusionLog& log, SlotValues& values, int a, int b) {
    for (auto& side : node.planes) {
        for (auto& planes : side)
            std::swap(planes[a], planes[b]);
    }
    std::swap(node.child[a], node.child[b]);
    std::swap(node.count[a], node.count[b]);
    std::swap(at(log, a), at(log, b));
    std::swap(at(values, a), at(values, b));
}

// Insertion sort: equal ranks keep their order, empty slots stay behind.
void sort_slots(WideNode& node, OcclusionLog& log, SlotValues& values) {
    for (int s = 1; s < kWide; ++s) {
        if (node.child[s] == kEmptyChild) continue;
        for (int p = s; p > 0; --p) {
            const auto i = to_size(p);
            if (!(values[i].rank > values[i - 1].rank)) break;
            swap_slots(node, log, values, p, p - 1);
        }
    }
}

// Cost of a subtree that saw no occlusion is 0, as is its rank.
struct Measured {
    float cost = 0.0f;
    std::uint64_t hits = 0;
};

Measured reorder(Tree& tree, std::uint32_t index) {
    WideNode& node = tree.nodes[index];
    OcclusionLog& log = tree.occlusion_log[index];
    SlotValues values;
    std::array<std::uint64_t, kWide> hits = {};
    Measured result;
    for (std::size_t s = 0; s < kWide; ++s) {
        if (node.child[s] == kEmptyChild) continue;
        const Measured below = node.count[s] == 0
                                   ? reorder(tree, node.child[s])
                                   : Measured{static_cast<float>(node.count[s]), log[s]};
        values[s].cost = below.cost;
        hits[s] = below.hits;
        result.hits += below.hits;
    }
    if (result.hits == 0) return result;
    for (std::size_t s = 0; s < kWide; ++s) {
        values[s].share = static_cast<float>(hits[s]) / static_cast<float>(result.hits);
        if (values[s].cost > 0.0f) values[s].rank = values[s].share / values[s].cost;
    }
    sort_slots(node, log, values);
    float reached = 1.0f; // probability that the children before have let the ray pass
    for (std::size_t s = 0; s < kWide; ++s) {
        if (node.child[s] == kEmptyChild) continue;
        result.cost += kVisitProbability * reached * values[s].cost;
        reached *= 1.0f - values[s].share;
    }
    return result;
}

} // namespace

void SATOrder(Tree& tree) {
#pragma omp parallel for num_threads(team_size()) if (tree.nodes.size() > kSmallTree)              \
    schedule(static) default(none) shared(tree)
    for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
        SlotValues values;
        for (std::size_t s = 0; s < kWide; ++s)
            values[s].rank = half_area(slot_box(tree.nodes[i], static_cast<int>(s)));
        sort_slots(tree.nodes[i], tree.occlusion_log[i], values);
    }
}

float ReorderTree(Tree& tree) {
    return tree.nodes.empty() ? 0.0f : reorder(tree, 0).cost;
}

void ReleaseWideNodes(Tree& tree) {
    tree.nodes = {};
    tree.references = {};
    tree.occlusion_log = {};
}

} // namespace mh
