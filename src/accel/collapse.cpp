// Flattening of the binary tree [Dammertz08]: a wide node takes up the largest inner nodes below
// it until it has eight children, and subtrees that are not worth their nodes become leaves.
// Called by the update of an object's tree.
// SPDX-License-Identifier: MIT
#include "accel/collapse.h"

#include "accel/restructure.h"
#include "math/threads.h"

#include <algorithm>
#include <span>
#include <utility>

namespace mh {

namespace {

constexpr std::uint32_t kSmallObject = 16384; // primitives; below, one thread is as fast

constexpr std::uint32_t kPrimitivesPerNode = 4; // about; meshes have five

// A subtree to be flattened, and the slot of a finished node that waits for its index.
struct Subtree {
    std::uint32_t binary = 0, first_reference = 0, depth = 0;
    std::uint32_t parent = 0;
    int slot = 0;
};

// Wide nodes that are numbered from 0 until they are joined to the tree at `offset`.
struct Block {
    std::vector<WideNode> nodes;
    std::uint32_t depth = 0, offset = 0;
};

struct Collapser {
    std::span<const BinaryNode> nodes;
    std::span<const PrimitiveRef> source;
    std::span<PrimitiveRef> references;
    std::uint32_t grain = 0;    // subtrees of at most so many primitives are put off, if allowed
    std::uint32_t smallest = 0; // subtrees of at most so many become leaves
};

struct Children {
    int count = 0;
    std::uint32_t node[kWide] = {};
    float area[kWide] = {}; // below 0 for a leaf
};

bool may_open(const Collapser& c, const BinaryNode& node) {
    return is_inner(node) && node.primitives > c.smallest;
}

bool becomes_leaf(const Collapser& c, const BinaryNode& node) {
    if (!may_open(c, node)) return true;
    const float as_leaf = static_cast<float>(node.primitives) * half_area(node.box);
    return node.primitives <= kMaxLeaf && node.cost > as_leaf;
}

void set_child(const Collapser& c, Children& children, int place, std::uint32_t index) {
    const BinaryNode& node = c.nodes[index];
    children.node[place] = index;
    children.area[place] = may_open(c, node) ? half_area(node.box) : -1.0f;
}

// Opens the largest inner node, the first of equal ones, until there are eight or only leaves.
Children choose_children(const Collapser& c, std::uint32_t binary) {
    Children children;
    set_child(c, children, children.count++, binary);
    while (children.count < kWide) {
        int largest = -1;
        float area = -1.0f;
        for (int k = 0; k < children.count; ++k) {
            if (!(children.area[k] > area)) continue;
            largest = k;
            area = children.area[k];
        }
        if (largest < 0) break;
        const std::uint32_t left = c.nodes[children.node[largest]].first;
        set_child(c, children, largest, left);
        set_child(c, children, children.count++, left + 1);
    }
    return children;
}

WideNode empty_node() {
    WideNode node;
    for (int k = 0; k < kWide; ++k) {
        for (int axis = 0; axis < 3; ++axis) {
            node.planes[0][axis][k] = kFar;
            node.planes[1][axis][k] = -kFar;
        }
        node.child[k] = kEmptyChild;
        node.count[k] = 0;
    }
    return node;
}

void set_box(WideNode& node, int slot, const Aabb& box) {
    const Vec3* const corners[2] = {&box.min, &box.max};
    for (int side = 0; side < 2; ++side) {
        node.planes[side][0][slot] = corners[side]->x;
        node.planes[side][1][slot] = corners[side]->y;
        node.planes[side][2][slot] = corners[side]->z;
    }
}

// References under a node, from left to right.
PrimitiveRef* copy_references(const Collapser& c, std::uint32_t binary, PrimitiveRef* out) {
    const BinaryNode& node = c.nodes[binary];
    if (!is_inner(node)) return std::copy_n(c.source.data() + node.first, node.count, out);
    return copy_references(c, node.first + 1, copy_references(c, node.first, out));
}

// Appends the wide nodes of a subtree; those put off are left to the caller when `later` is given.
std::uint32_t collapse(const Collapser& c, const Subtree& subtree, Block& block,
                       std::vector<Subtree>* later) {
    const auto index = static_cast<std::uint32_t>(block.nodes.size());
    block.nodes.push_back(empty_node());
    block.depth = std::max(block.depth, subtree.depth);
    const Children children = choose_children(c, subtree.binary);
    std::uint32_t reference = subtree.first_reference;
    for (int k = 0; k < children.count; ++k) {
        const BinaryNode& node = c.nodes[children.node[k]];
        const Subtree below = {children.node[k], reference, subtree.depth + 1, index, k};
        set_box(block.nodes[index], k, node.box);
        if (becomes_leaf(c, node)) {
            copy_references(c, below.binary, c.references.data() + reference);
            block.nodes[index].child[k] = reference;
            block.nodes[index].count[k] = static_cast<std::uint16_t>(node.primitives);
        } else if (later != nullptr && node.primitives <= c.grain) {
            later->push_back(below);
        } else {
            const std::uint32_t child = collapse(c, below, block, later);
            block.nodes[index].child[k] = child;
        }
        reference += node.primitives;
    }
    return index;
}

// Copies a block whose root is the child that a slot waits for.
void join(Tree& tree, const Subtree& subtree, const Block& block) {
    tree.nodes[subtree.parent].child[subtree.slot] = block.offset;
    WideNode* node = &tree.nodes[block.offset];
    for (const WideNode& from : block.nodes) {
        *node = from;
        for (int k = 0; k < kWide; ++k)
            if (node->count[k] == 0 && node->child[k] != kEmptyChild)
                node->child[k] += block.offset;
        ++node;
    }
}

void join_all(Tree& tree, const std::vector<Subtree>& subtrees, std::vector<Block>& blocks) {
#pragma omp parallel for num_threads(team_size()) if (subtrees.size() > 1)                         \
    schedule(dynamic, 1) default(none) shared(tree, subtrees, blocks)
    for (std::size_t i = 0; i < subtrees.size(); ++i)
        join(tree, subtrees[i], std::exchange(blocks[i], {}));
}

std::vector<Block> collapse_each(const Collapser& c, const std::vector<Subtree>& subtrees) {
    std::vector<Block> blocks(subtrees.size());
    Caught caught;
#pragma omp parallel for num_threads(team_size()) if (subtrees.size() > 1)                         \
    schedule(dynamic, 1) default(none) shared(c, subtrees, blocks, caught)
    for (std::size_t i = 0; i < subtrees.size(); ++i)
        keep_exceptions(caught, [&] {
            blocks[i].nodes.reserve(c.nodes[subtrees[i].binary].primitives / kPrimitivesPerNode);
            collapse(c, subtrees[i], blocks[i], nullptr);
        });
    throw_caught(caught);
    return blocks;
}

} // namespace

// The nodes of the top come first, then those of each subtree, depth-first within both.
void Collapse(Tree& tree, std::uint32_t smallest) {
    const std::uint32_t primitives = tree.binary_nodes[0].primitives;
    tree.references.resize(primitives);
    const Collapser c = {tree.binary_nodes, tree.binary_references, tree.references,
                         std::max(kSmallObject, primitives / 64), smallest};
    Block top;
    std::vector<Subtree> later;
    collapse(c, {}, top, &later);
    std::vector<Block> blocks = collapse_each(c, later);
    auto size = static_cast<std::uint32_t>(top.nodes.size());
    tree.wide_depth = top.depth;
    for (Block& block : blocks) {
        block.offset = size;
        size += static_cast<std::uint32_t>(block.nodes.size());
        tree.wide_depth = std::max(tree.wide_depth, block.depth);
    }
    tree.nodes.resize(size);
    std::copy(top.nodes.begin(), top.nodes.end(), tree.nodes.begin());
    join_all(tree, later, blocks);
    tree.occlusion_log.assign(size, OcclusionLog{});
}

} // namespace mh
