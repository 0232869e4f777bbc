// Restructuring against the costs of all shapes, and the wide tree against the primitives.
// SPDX-License-Identifier: MIT
#include "accel/bounds.h"
#include "accel/collapse.h"
#include "accel/prepare.h"
#include "accel/restructure.h"
#include "accel/tree.h"
#include "accel/walk_types.h"
#include "math/at.h"
#include "random_object.h"
#include "support/expect.h"

#include <algorithm>
#include <bit>
#include <set>
#include <tuple>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

Aabb random_box(RandomPoints& random) {
    Aabb box;
    const Vec3 corner = random.point();
    merge(box, corner);
    merge(box, corner + 0.4f * random.point());
    return box;
}

// A node over two inner nodes over the given boxes as leaves of one primitive, or over one inner
// node and a leaf.
std::vector<BinaryNode> small_tree(const std::vector<Aabb>& boxes, bool inner_left) {
    std::vector<BinaryNode> nodes(7);
    nodes[0].first = 1;
    const std::uint32_t inner = inner_left ? 1 : 2, other = 3 - inner;
    nodes[inner].first = 3;
    if (boxes.size() == 4) nodes[other].first = 5;
    const std::uint32_t leaves[] = {3, 4, boxes.size() == 4 ? 5 : other, 6};
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        nodes[leaves[i]].box = boxes[i];
        nodes[leaves[i]].count = static_cast<std::uint32_t>(i) + 1; // tells the leaves apart
        refit(nodes, leaves[i]);
    }
    refit(nodes, 1);
    refit(nodes, 2);
    return nodes;
}

// Sets of leaves are bits.
float area_of(const std::vector<Aabb>& boxes, unsigned leaves) {
    Aabb box;
    for (std::size_t i = 0; i < boxes.size(); ++i)
        if ((leaves >> i & 1u) != 0) merge(box, boxes[i]);
    return half_area(box);
}

double leaf_cost(const std::vector<Aabb>& boxes, unsigned leaf) {
    return static_cast<double>(area_of(boxes, leaf)) * (std::countr_zero(leaf) + 1);
}

// Of all trees over the leaves.
double least_cost(const std::vector<Aabb>& boxes, unsigned leaves) {
    if (std::has_single_bit(leaves)) return leaf_cost(boxes, leaves);
    double best = kFar;
    for (unsigned left = (leaves - 1) & leaves; left != 0; left = (left - 1) & leaves)
        best = std::min(best, least_cost(boxes, left) + least_cost(boxes, leaves ^ left));
    return area_of(boxes, leaves) + best;
}

// The leaves under a node. Adds those of every inner node, which tell the shape, and their costs.
unsigned visit(const std::vector<Aabb>& boxes, const std::vector<BinaryNode>& nodes,
               std::uint32_t index, std::set<unsigned>& shape, double& cost) {
    const BinaryNode& node = nodes[index];
    unsigned leaves = 1u << (node.count - 1) % 32;
    if (node.count == 0) {
        leaves = visit(boxes, nodes, node.first, shape, cost)
                 | visit(boxes, nodes, node.first + 1, shape, cost);
        shape.insert(leaves);
    }
    cost += node.count == 0 ? double{area_of(boxes, leaves)} : leaf_cost(boxes, leaves);
    return leaves;
}

// Restructures random trees over n leaves: each must take the cheapest of the shapes, and in all of
// them every shape must have been taken.
void check_shapes(std::uint32_t n, unsigned rounds, std::size_t shapes) {
    RandomPoints random(n);
    std::set<std::set<unsigned>> taken;
    for (unsigned round = 0; round < rounds; ++round) {
        std::vector<Aabb> boxes(n);
        for (Aabb& box : boxes)
            box = random_box(random);
        std::vector<BinaryNode> nodes = small_tree(boxes, round % 2 == 0);
        nodes[0].cost = round % 3 == 0 ? 0.0f : 1e9f; // stale
        restructure(nodes, 0);
        const double best = least_cost(boxes, (1u << n) - 1);
        std::set<unsigned> shape;
        double cost = 0.0;
        visit(boxes, nodes, 0, shape, cost);
        taken.insert(shape);
        // 1e-5 of the cost: sums of a dozen floats.
        EXPECT_NEAR(cost, best, 1e-5 * best) << "round " << round;
        EXPECT_NEAR(nodes[0].cost, best, 1e-5 * best) << "round " << round;
        EXPECT_EQ(nodes[0].primitives, n * (n + 1) / 2);
    }
    EXPECT_EQ(taken.size(), shapes);
}

struct Census {
    std::set<std::tuple<std::uint16_t, PrimitiveKind, std::uint32_t>> references;
    std::uint32_t depth = 0;
};

// Counts what the wide tree holds and checks that every box is the union of what lies below.
Aabb take_census(const Object& object, const Tree& tree, std::uint32_t index, std::uint32_t depth,
                 Census& census) {
    const WideNode& node = tree.nodes[index];
    census.depth = std::max(census.depth, depth);
    Aabb all;
    for (int k = 0; k < kWide; ++k) {
        Aabb box;
        if (node.count[k] == 0 && node.child[k] != kEmptyChild)
            box = take_census(object, tree, node.child[k], depth + 1, census);
        for (std::uint32_t i = 0; i < node.count[k]; ++i) {
            const PrimitiveRef& ref = tree.references[node.child[k] + i];
            EXPECT_TRUE(census.references.insert({ref.part, ref.kind, ref.index}).second);
            merge(box, reference_bounds(object, ref));
        }
        EXPECT_EQ(slot_box(node, k).min, box.min) << "node " << index << " slot " << k;
        EXPECT_EQ(slot_box(node, k).max, box.max) << "node " << index << " slot " << k;
        merge(all, box);
    }
    return all;
}

Tree build_quietly(Object& object) {
    Tree tree;
    printed_by([&] { Build(object, tree); });
    Update(object, tree);
    SATOrder(tree);
    return tree;
}

double binary_cost(const Tree& tree, std::uint32_t index) {
    const BinaryNode& node = tree.binary_nodes[index];
    if (node.count != 0) return half_area(node.box) * static_cast<float>(node.count);
    return half_area(node.box) + binary_cost(tree, node.first) + binary_cost(tree, node.first + 1);
}

// A balanced tree of sixteen leaves, of one and two references in turn. The eight nodes above the
// leaves have unit boxes and cost `extra` more than as leaves; those above are larger.
Tree heap_of_pairs(float extra) {
    Tree tree;
    tree.binary_references.assign(24, PrimitiveRef{});
    auto& nodes = tree.binary_nodes;
    nodes.assign(31, BinaryNode{});
    for (std::uint32_t i = 0, next = 0; i < 31; ++i) {
        nodes[i].box = {{}, splat(i < 7 ? 2.0f : 1.0f)};
        nodes[i].first = i < 15 ? 2 * i + 1 : next;
        if (i >= 15) next += nodes[i].count = nodes[i].primitives = 2 - i % 2;
    }
    for (std::uint32_t i = 15; i-- > 0;)
        nodes[i].primitives =
            nodes[nodes[i].first].primitives + nodes[nodes[i].first + 1].primitives;
    for (std::uint32_t i = 7; i < 15; ++i)
        nodes[i].cost = 3.0f * half_area(nodes[i].box) + extra;
    return tree;
}

} // namespace

TEST(Restructure, TakesTheCheapestOfTheShapesOfThreeAndOfFour) {
    check_shapes(3, 300, 3);
    check_shapes(4, 3000, 15);
}

TEST(Update, HoldsEveryPrimitiveOnceInTightBoxes) {
    for (unsigned seed = 1; seed < 12; ++seed) {
        Object object = random_object(seed, seed * seed * seed, seed % 2 == 0 ? 0.05f : 0.5f);
        const Tree tree = build_quietly(object);
        Census census;
        const Aabb box = take_census(object, tree, 0, 0, census);
        EXPECT_TRUE(box.min == object.box.min && box.max == object.box.max);
        EXPECT_EQ(census.depth, tree.wide_depth);
        EXPECT_EQ(census.references.size(), tree.binary_references.size());
        const double cost = binary_cost(tree, 0);
        EXPECT_NEAR(tree.tree_cost, cost, 1e-9 * cost) << "seed " << seed;
        EXPECT_NEAR(tree.binary_nodes[0].cost, cost, 1e-4 * cost); // float sums
    }
}

TEST(SATOrder, ChildrenStandByFallingArea) {
    Object object = random_object(4, 3000, 0.1f);
    const Tree tree = build_quietly(object);
    for (const WideNode& node : tree.nodes)
        for (int k = 1; k < kWide; ++k)
            EXPECT_LE(half_area(slot_box(node, k)), half_area(slot_box(node, k - 1)));
}

TEST(Collapse, ASubtreeBecomesALeafWhenItsCostIsAboveThatOfItsPrimitives) {
    for (const float extra : {0.0f, 1e-3f}) {
        Tree tree = heap_of_pairs(extra);
        Collapse(tree, 1);
        EXPECT_EQ(tree.nodes.size(), extra > 0.0f ? 1u : 9u);
        EXPECT_EQ(tree.nodes[0].count[0], extra > 0.0f ? 3 : 0);
    }
}

// The limits of tree.h, of both kinds of tree: a step that grows makes a tree of one leaf a node.
TEST(Collapse, StreamsAreNoLargerThanTheLimitsOfPrimitivesAssume) {
    for (const float growth : {1.0f, 1.1f, 3.0f})
        for (std::uint32_t triangles = 1; triangles < 70; ++triangles) {
            Object object = triangle_row(triangles, {});
            float x = 1.0f;
            for (std::uint32_t i = 0; i < 3 * triangles; i += 3, x = x * growth + 1.0f)
                for (std::uint32_t k = i; k < i + 3; ++k)
                    object.parts[0].positions[k].x += x;
            Tree tree = build_quietly(object);
            const double plain = static_cast<double>(WalkUnits(object, tree));
            Collapse(tree, kMaxBlockedLeaf);
            Census census;
            take_census(object, tree, 0, 0, census);
            EXPECT_EQ(census.references.size(), triangles);
            EXPECT_LE(plain, 8 + double{kWalkUnitMask} / kMostPrimitivesOfAnyTree * triangles);
            EXPECT_LE(static_cast<double>(WalkUnits(object, tree)),
                      8 + double{kWalkUnitMask} / kMostPrimitives * triangles);
        }
}

// A leaf of two triangles between two leaves of one. Each costs its triangles, for the share of
// rays that those before have let pass.
TEST(ReorderTree, PutsTheChildrenThatOccludeMostPerCostFirst) {
    Object object = triangle_row(4, {4, 0, 0});
    object.parts[0].triangles[2].vertex = object.parts[0].triangles[1].vertex;
    Tree tree = build_quietly(object);
    const WideNode& root = tree.nodes[0];
    EXPECT_EQ(ReorderTree(tree), 0.0f);                    // nothing measured: nothing moves
    const auto log_of = [&](int count) -> std::uint32_t& { // of the first leaf of that size
        return at(tree.occlusion_log[0], std::find(root.count, root.count + 3, count) - root.count);
    };
    log_of(2) = 300;
    log_of(1) = 100;
    EXPECT_FLOAT_EQ(ReorderTree(tree), 0.9f * (2.0f + 0.25f + 0.25f * 0.75f));
    log_of(2) = 150;
    EXPECT_FLOAT_EQ(ReorderTree(tree), 0.9f * (1.0f + 0.6f * 2.0f + 0.6f * 0.4f));
    EXPECT_EQ(tree.occlusion_log[0][0], 100u);
    Census census;
    take_census(object, tree, 0, 0, census); // boxes moved along
    EXPECT_EQ(census.references.size(), 4u);
}

} // namespace mh::test
