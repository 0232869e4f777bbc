// Local improvement of the binary tree [Kensler08]: whole records change places between the slots
// of a node's children and grandchildren. Called for every node, from the deepest up.
// SPDX-License-Identifier: MIT
#include "accel/restructure.h"

#include <array>
#include <utility>

namespace mh {

namespace {

// Slots below a node: its children and theirs. The records in the last four are A, B, E, F.
enum Slot : std::uint8_t { kLeft, kRight, kA, kB, kE, kF };

// A shape with an inner child of its own is reached by one exchange, which moves the record of the
// other inner child down to the first of the two slots, and for all but one by a second exchange.
struct Shape {
    Slot first[2], second[2]; // exchanges; a slot with itself for none
};

// Pairs of A, B, E, F, and the triples that leave one of them out.
enum Union : std::uint8_t { kAB, kAE, kAF, kBE, kBF, kEF, kBEF, kAEF, kABF, kABE };

constexpr int kUnions = 10;

struct Candidate {
    Union large, small; // new boxes; their areas and what all shapes share is the cost
    Shape shape;
};

// In the order in which they are compared.
constexpr std::array<Candidate, 14> kCandidates = {{
    {kAE, kBF, {{kB, kE}, {kA, kA}}},      // (A E) (B F)
    {kAF, kBE, {{kB, kF}, {kA, kA}}},      // (A F) (B E)
    {kBEF, kEF, {{kA, kRight}, {kA, kA}}}, // A, ((E F) B)
    {kBEF, kBF, {{kA, kRight}, {kB, kE}}}, // A, ((B F) E)
    {kBEF, kBE, {{kA, kRight}, {kB, kF}}}, // A, ((B E) F)
    {kAEF, kEF, {{kB, kRight}, {kA, kA}}}, // B, (A (E F))
    {kAEF, kAF, {{kB, kRight}, {kA, kE}}}, // B, (E (A F))
    {kAEF, kAE, {{kB, kRight}, {kA, kF}}}, // B, (F (A E))
    {kABF, kBF, {{kE, kLeft}, {kA, kF}}},  // E, ((B F) A)
    {kABF, kAF, {{kE, kLeft}, {kB, kF}}},  // E, ((A F) B)
    {kABF, kAB, {{kE, kLeft}, {kA, kA}}},  // E, ((A B) F)
    {kABE, kBE, {{kF, kLeft}, {kA, kE}}},  // F, (A (B E))
    {kABE, kAE, {{kF, kLeft}, {kB, kE}}},  // F, (B (A E))
    {kABE, kAB, {{kF, kLeft}, {kA, kA}}},  // F, (E (A B))
}};

Aabb united(const Aabb& a, const Aabb& b) {
    Aabb box = a;
    merge(box, b);
    return box;
}

std::array<float, kUnions> union_areas(const Aabb& a, const Aabb& b, const Aabb& e, const Aabb& f) {
    const Aabb ab = united(a, b), ef = united(e, f);
    return {half_area(ab),
            half_area(united(a, e)),
            half_area(united(a, f)),
            half_area(united(b, e)),
            half_area(united(b, f)),
            half_area(ef),
            half_area(united(b, ef)),
            half_area(united(a, ef)),
            half_area(united(ab, f)),
            half_area(united(ab, e))};
}

void refit_inner(std::span<BinaryNode> nodes, std::uint32_t index) {
    if (is_inner(nodes[index])) refit(nodes, index);
}

// Both children are inner nodes.
void restructure_four(std::span<BinaryNode> nodes, std::uint32_t index) {
    const std::uint32_t l = nodes[index].first, r = l + 1;
    const std::uint32_t a = nodes[l].first, e = nodes[r].first;
    const std::array<std::uint32_t, 6> slot = {l, r, a, a + 1, e, e + 1};
    const auto area = union_areas(nodes[a].box, nodes[a + 1].box, nodes[e].box, nodes[e + 1].box);
    const float base = half_area(nodes[index].box) + nodes[a].cost + nodes[a + 1].cost
                       + nodes[e].cost + nodes[e + 1].cost;
    float best = nodes[index].cost;
    const Shape* shape = nullptr;
    for (const Candidate& candidate : kCandidates) {
        const float cost = area[candidate.large] + area[candidate.small] + base;
        if (!(cost < best)) continue;
        best = cost;
        shape = &candidate.shape;
    }
    if (shape == nullptr) return;
    std::swap(nodes[slot[shape->first[0]]], nodes[slot[shape->first[1]]]);
    std::swap(nodes[slot[shape->second[0]]], nodes[slot[shape->second[1]]]);
    refit_inner(nodes, slot[shape->first[0]]);
    refit_inner(nodes, l);
    refit_inner(nodes, r);
    refit(nodes, index);
}

// One child is an inner node over A and B, the other is the leaf E.
void restructure_three(std::span<BinaryNode> nodes, std::uint32_t index, std::uint32_t inner,
                       std::uint32_t e) {
    const std::uint32_t a = nodes[inner].first, b = a + 1;
    const float base = half_area(nodes[index].box) + nodes[a].cost + nodes[b].cost + nodes[e].cost;
    const float cost_a = half_area(united(nodes[b].box, nodes[e].box)) + base; // A, (B E)
    const float cost_b = half_area(united(nodes[a].box, nodes[e].box)) + base; // B, (A E)
    const float cost = nodes[index].cost;
    const bool take_b = cost_b < cost_a && cost_b < cost;
    if (!take_b && !(cost_a < cost)) return;
    std::swap(nodes[take_b ? b : a], nodes[e]);
    refit(nodes, inner);
    refit(nodes, index);
}

} // namespace

void refit(std::span<BinaryNode> nodes, std::uint32_t index) {
    BinaryNode& node = nodes[index];
    if (!is_inner(node)) {
        node.cost = half_area(node.box) * static_cast<float>(node.count);
        node.primitives = node.count;
        return;
    }
    const BinaryNode &left = nodes[node.first], &right = nodes[node.first + 1];
    node.box = united(left.box, right.box);
    node.cost = half_area(node.box) + left.cost + right.cost;
    node.primitives = left.primitives + right.primitives;
}

void restructure(std::span<BinaryNode> nodes, std::uint32_t index) {
    refit(nodes, index);
    if (!is_inner(nodes[index])) return;
    const std::uint32_t left = nodes[index].first, right = left + 1;
    const bool inner_left = is_inner(nodes[left]), inner_right = is_inner(nodes[right]);
    if (inner_left && inner_right)
        restructure_four(nodes, index);
    else if (inner_left)
        restructure_three(nodes, index, left, right);
    else if (inner_right)
        restructure_three(nodes, index, right, left);
}

} // namespace mh
