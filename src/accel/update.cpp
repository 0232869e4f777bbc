// From the topology of the binary tree to the tree that rays walk. Called once per object by the
// scene assembly, after the build.
// SPDX-License-Identifier: MIT
#include "accel/collapse.h"
#include "accel/prepare.h"
#include "accel/restructure.h"
#include "accel/tree.h"
#include "accel/walk_types.h"
#include "math/threads.h"

#include <algorithm>
#include <span>

namespace mh {

namespace {

constexpr std::uint32_t kSmallObject = 16384; // primitives; below, one thread is as fast
constexpr std::size_t kCostChunk = 65536;     // nodes

// Restructures a subtree from its deepest nodes up. A node changes only what lies under it, so
// this order gives the same tree as one level after the other.
void restructure_subtree(std::span<BinaryNode> nodes, std::uint32_t index) {
    if (is_inner(nodes[index])) {
        const std::uint32_t left = nodes[index].first;
        restructure_subtree(nodes, left);
        restructure_subtree(nodes, left + 1);
    }
    restructure(nodes, index);
}

// Splits the tree into subtrees of at most `grain` primitives and the nodes above them, parents
// first.
void collect_subtrees(std::span<const BinaryNode> nodes, std::uint32_t index, std::uint32_t grain,
                      std::vector<std::uint32_t>& top, std::vector<std::uint32_t>& subtrees) {
    const BinaryNode& node = nodes[index];
    if (!is_inner(node) || node.primitives <= grain) {
        subtrees.push_back(index);
        return;
    }
    top.push_back(index);
    collect_subtrees(nodes, node.first, grain, top, subtrees);
    collect_subtrees(nodes, node.first + 1, grain, top, subtrees);
}

void restructure_tree(std::span<BinaryNode> nodes) {
    const std::uint32_t grain = std::max(kSmallObject, nodes[0].primitives / 64);
    std::vector<std::uint32_t> top, subtrees;
    collect_subtrees(nodes, 0, grain, top, subtrees);
#pragma omp parallel for num_threads(team_size()) if (subtrees.size() > 1)                         \
    schedule(dynamic, 1) default(none) shared(nodes, subtrees)
    for (std::size_t i = 0; i < subtrees.size(); ++i)
        restructure_subtree(nodes, subtrees[i]);
    for (auto index = top.rbegin(); index != top.rend(); ++index)
        restructure(nodes, *index);
}

// Places without a node have an empty box and add nothing.
double area_cost(const BinaryNode& node) {
    const float area = half_area(node.box);
    return is_inner(node) ? area : static_cast<float>(node.count) * area;
}

// Summed in chunks of fixed size, so that the result does not depend on the threads.
double tree_cost(std::span<const BinaryNode> nodes) {
    std::vector<double> sums((nodes.size() + kCostChunk - 1) / kCostChunk);
#pragma omp parallel for num_threads(team_size()) if (sums.size() > 1)                             \
    schedule(static) default(none) shared(nodes, sums)
    for (std::size_t c = 0; c < sums.size(); ++c) {
        for (std::size_t i = c * kCostChunk; i < std::min(nodes.size(), (c + 1) * kCostChunk); ++i)
            sums[c] += area_cost(nodes[i]);
    }
    double cost = 0.0;
    for (const double sum : sums)
        cost += sum;
    return cost;
}

// A tree that outgrows its stream is made of larger leaves, which always fit.
void flatten(const Object& object, Tree& tree) {
    Collapse(tree, 1);
    if (tree.binary_references.size() > kMostPrimitivesOfAnyTree
        && WalkUnits(object, tree) > kWalkUnitMask)
        Collapse(tree, kMaxBlockedLeaf);
}

} // namespace

void Update(Object& object, Tree& tree) {
    object.box = {{}, {}};
    if (tree.binary_nodes.empty()) return;
    restructure_tree(tree.binary_nodes);
    object.box = tree.binary_nodes[0].box;
    tree.tree_cost = tree_cost(tree.binary_nodes);
    flatten(object, tree);
}

} // namespace mh
