// Construction and descent of the tree of lamps.
// SPDX-License-Identifier: MIT
#include "lights/lamp_tree.h"

#include "lights/lamp_shape.h"
#include "math/at.h"
#include "math/axis.h"
#include "math/constants.h"
#include "math/roots.h"
#include "math/simd4.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <span>
#include <tuple>
#include <vector>

namespace mh {

namespace {

constexpr int kBins = 12;
constexpr int kSpatialLevels = 16;        // below them lamps are split by number alone
constexpr std::size_t kLeastChildren = 4; // on average
constexpr std::size_t kChildren = std::tuple_size_v<LampNode::Lanes>;

Aabb box_of(const Lamp& lamp) {
    Aabb box;
    merge(box, lamp.corner);
    merge(box, lamp.corner + lamp.edge_u);
    merge(box, lamp.corner + lamp.edge_v);
    if (!lamp.triangle) merge(box, lamp.corner + lamp.edge_u + lamp.edge_v);
    return box;
}

float power_of(const Lamp& lamp) {
    return mean(lamp.emission) * lamp.area;
}

float sine_of(float cosine) {
    return std::sqrt(std::max(1.0f - cosine * cosine, 0.0f));
}

// Power, bounds and sum of the normals of the lamps in a bin.
struct Bin {
    Aabb box;
    Vec3 normals;
    float power = 0.0f;
};

void add(Bin& bin, const Bin& other) {
    merge(bin.box, other.box);
    bin.normals += other.normals;
    bin.power += other.power;
}

// Power times the area of the bounds, less for lamps that face one way.
float cost_of(const Bin& bin) {
    if (!(bin.power > 0.0f)) return 0.0f;
    const Vec3 extent = bin.box.max - bin.box.min;
    const float area = half_area(bin.box) + dot(extent, extent) * 1e-3f;
    return bin.power * area * (2.0f - length(bin.normals) / bin.power);
}

// A lamp, with what the construction looks at again and again.
struct Leaf {
    Bin bin;
    Vec3 middle; // of its box
    std::int32_t lamp = 0;
};

using Leaves = std::span<Leaf>;

Leaf leaf_of(const LampSet& set, std::size_t i) {
    const Lamp& lamp = set.lamps[i];
    const Aabb box = box_of(lamp);
    return {{box, power_of(lamp) * lamp.normal, power_of(lamp)},
            center(box),
            static_cast<std::int32_t>(i)};
}

Bin bin_of(Leaves leaves) {
    Bin sum;
    for (const Leaf& leaf : leaves)
        add(sum, leaf.bin);
    return sum;
}

int bin_number(const Leaf& leaf, const Aabb& centers, int axis) {
    const float low = component(centers.min, axis), high = component(centers.max, axis);
    const float at = kBins * ((component(leaf.middle, axis) - low) / (high - low));
    return static_cast<int>(std::min(std::max(0.0f, at), kBins - 1.0f)); // 0 where it is NaN
}

struct Split {
    int axis = -1, bin = 0; // bins up to this one are on the first side
    float cost = kFar;
};

void try_axis(Leaves leaves, const Aabb& centers, int axis, Split& best) {
    if (!(component(centers.max, axis) > component(centers.min, axis))) return;
    std::array<Bin, kBins> bins;
    for (const Leaf& leaf : leaves)
        add(at(bins, bin_number(leaf, centers, axis)), leaf.bin);
    std::array<float, kBins> above = {}; // cost of the bins from here on
    Bin upper;
    for (std::size_t i = kBins - 1; i > 0; --i) {
        add(upper, bins[i]);
        above[i] = cost_of(upper);
    }
    Bin lower;
    for (std::size_t i = 0; i + 1 < kBins; ++i) {
        add(lower, bins[i]);
        const float cost = cost_of(lower) + above[i + 1];
        if (cost < best.cost) best = {axis, static_cast<int>(i), cost};
    }
}

// Moves the lamps of the first side to the front; how many they are.
std::size_t split(Leaves leaves, bool by_place) {
    Aabb centers;
    for (const Leaf& leaf : leaves)
        merge(centers, leaf.middle);
    Split best;
    for (int axis = 0; axis < 3 && by_place; ++axis)
        try_axis(leaves, centers, axis, best);
    if (best.axis < 0) return leaves.size() / 2;
    const auto middle = std::partition(leaves.begin(), leaves.end(), [&](const Leaf& leaf) {
        return bin_number(leaf, centers, best.axis) <= best.bin;
    });
    const auto count = to_size(middle - leaves.begin());
    return count == 0 || count == leaves.size() ? leaves.size() / 2 : count;
}

// The lamps of one child, and what it costs to leave them together.
struct Group {
    Leaves leaves;
    float cost = 0.0f; // 0 for a single lamp
};

Group group_of(Leaves leaves, bool by_place) {
    if (leaves.size() == 1) return {leaves};
    return {leaves, by_place ? cost_of(bin_of(leaves)) : static_cast<float>(leaves.size())};
}

// Splits the group of the largest cost until there are as many as a node has children.
std::vector<Group> groups_of(Leaves leaves, bool by_place) {
    std::vector<Group> groups = {group_of(leaves, by_place)};
    while (groups.size() < kChildren) {
        const auto largest =
            std::max_element(groups.begin(), groups.end(),
                             [](const Group& a, const Group& b) { return a.cost < b.cost; });
        if (!(largest->cost > 0.0f)) break;
        const Leaves whole = largest->leaves;
        const std::size_t count = split(whole, by_place);
        *largest = group_of(whole.first(count), by_place);
        groups.insert(largest + 1, group_of(whole.subspan(count), by_place));
    }
    return groups;
}

void set_lanes(std::array<LampNode::Lanes, 3>& lanes, std::size_t i, const Vec3& v) {
    lanes[0][i] = v.x;
    lanes[1][i] = v.y;
    lanes[2][i] = v.z;
}

void set_bounds(const LampSet& set, Leaves leaves, LampNode& node, std::size_t i) {
    const Bin sum = bin_of(leaves);
    const Vec3 axis = unit_direction(sum.normals);
    float cos_spread = 1.0f;
    for (const Leaf& leaf : leaves)
        cos_spread = std::min(cos_spread, dot(axis, at(set.lamps, leaf.lamp).normal));
    node.cos_spread[i] = cos_spread > 0.0f ? cos_spread : -1.0f;
    node.sin_spread[i] = sine_of(node.cos_spread[i]);
    const Vec3 extent = sum.box.max - sum.box.min;
    node.radius_square[i] = std::max(0.25f * dot(extent, extent), kSmallestSquare);
    node.power[i] = sum.power;
    node.near_power[i] = sum.power / node.radius_square[i];
    node.box[i] = sum.box;
    set_lanes(node.center, i, center(sum.box));
    set_lanes(node.axis, i, axis);
}

// The number of the node over these lamps.
std::int32_t build(LampSet& set, Leaves leaves, int level) {
    const std::size_t place = set.tree.size();
    set.tree.emplace_back().radius_square.fill(kFar);
    const std::vector<Group> groups = groups_of(leaves, level < kSpatialLevels);
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const Leaves below = groups[i].leaves;
        set_bounds(set, below, set.tree[place], i);
        set.tree[place].child[i] =
            below.size() == 1 ? below[0].lamp : -build(set, below, level + 1);
    }
    set.tree[place].children = static_cast<std::int32_t>(groups.size());
    return static_cast<std::int32_t>(place);
}

// What the lamps of four children may send to a point, up to a factor: power over the squared
// distance, times the cosine of the smallest angle at which one of them may be seen: that to the
// axis, less those that the normals and the box fill. 0 only where none shines.
Float4 importance(const LampNode& node, std::size_t first, const Vec3& from) {
    const auto lanes = [&](const LampNode::Lanes& values) { return load4(&values[first]); };
    const Float4 x = from.x - lanes(node.center[0]), y = from.y - lanes(node.center[1]),
                 z = from.z - lanes(node.center[2]);
    const Float4 square = x * x + y * y + z * z;
    const Float4 radius_square = lanes(node.radius_square);
    const Float4 inverse = 1.0f / square;
    const Float4 along =
        x * lanes(node.axis[0]) + y * lanes(node.axis[1]) + z * lanes(node.axis[2]);
    const Float4 cos_axis = along * root4(inverse);
    const Float4 sin_axis = root4(max4(1.0f - cos_axis * cos_axis, Float4{}));
    const Float4 sin_box_square = radius_square * inverse;
    const Float4 cos_box = root4(max4(1.0f - sin_box_square, Float4{}));
    const Float4 cos_spread = lanes(node.cos_spread), sin_spread = lanes(node.sin_spread);
    const Float4 facing = cos_axis * cos_spread + sin_axis * sin_spread;
    const Float4 facing_sine = sin_axis * cos_spread - cos_axis * sin_spread;
    const Float4 off_box = facing * cos_box + facing_sine * root4(sin_box_square);
    const Int4 may_face = (cos_axis >= cos_spread) | (facing >= cos_box);
    const Float4 cosine = may_face ? Float4{} + 1.0f : max4(off_box, Float4{});
    return square > radius_square ? lanes(node.power) * cosine * inverse : lanes(node.near_power);
}

// The importance of each child, and the sum of those up to it; all 0 where a float cannot hold it.
struct Shares {
    alignas(16) LampNode::Lanes own, running;

    float sum() const { return running.back(); }
};

Shares shares_of(const LampNode& node, const Vec3& from) {
    constexpr float kLeast = std::numeric_limits<float>::min(); // below it products do not round
    Shares shares;
    store4(&shares.own[0], importance(node, 0, from));
    store4(&shares.own[4], node.children > 4 ? importance(node, 4, from) : Float4{});
    std::partial_sum(shares.own.begin(), shares.own.end(), shares.running.begin());
    if (!(shares.sum() >= kLeast && shares.sum() <= kFar)) shares = {};
    return shares;
}

bool is_near(const Aabb& box, const LampHit& hit) {
    const Vec3 margin = splat(hit.rounding);
    return contains(Aabb{box.min - margin, box.max + margin}, hit.position);
}

// Faces of one number in several instances may lie in one plane, with boxes that overlap.
bool lies_on(const Lamp& lamp, const LampHit& hit) {
    if (std::fabs(dot(hit.position - lamp.corner, lamp.normal)) > hit.rounding) return false;
    const Vec2 place = place_on(lamp, hit.position);
    const float longest = std::max(length(lamp.edge_u), length(lamp.edge_v));
    const float margin = hit.rounding * longest / lamp.area;
    const float last = lamp.triangle ? place.x + place.y : std::max(place.x, place.y);
    return std::min(place.x, place.y) >= -margin && last <= 1.0f + margin;
}

bool is_lamp(const Lamp& lamp, const LampHit& hit) {
    return lamp.part == hit.part && lamp.primitive == hit.primitive && lamp.front == hit.front
           && lamp.triangle == hit.triangle && lies_on(lamp, hit);
}

LampChoice find_below(const LampSet& set, std::size_t place, const Vec3& from, const LampHit& hit,
                      float probability) {
    const LampNode& node = set.tree[place];
    const Shares shares = shares_of(node, from);
    for (std::size_t i = 0; i < to_size(node.children); ++i) {
        if (!(shares.own[i] > 0.0f) || !is_near(node.box[i], hit)) continue;
        const float chance = probability * (shares.own[i] / shares.sum());
        const std::int32_t child = node.child[i];
        if (child < 0) {
            const LampChoice found = find_below(set, to_size(-child), from, hit, chance);
            if (found.lamp >= 0) return found;
        } else if (is_lamp(at(set.lamps, child), hit)) {
            return {child, chance};
        }
    }
    return {};
}

} // namespace

std::size_t TreeBytesOfLamp() {
    return sizeof(Leaf) + sizeof(LampNode) / kLeastChildren;
}

void BuildLampTree(LampSet& set) {
    set.tree.clear();
    std::vector<Leaf> leaves;
    leaves.reserve(set.lamps.size());
    for (std::size_t i = 0; i < set.lamps.size(); ++i)
        if (set.lamps[i].sampled) leaves.push_back(leaf_of(set, i));
    set.sampled = static_cast<std::int32_t>(leaves.size());
    set.tree.reserve(1 + leaves.size() / kLeastChildren);
    if (!leaves.empty()) build(set, leaves, 0);
}

LampChoice choose_lamp(const LampSet& set, const Vec3& from, float u) {
    if (set.tree.empty()) return {};
    if (!is_choice(set)) return {set.tree[0].child[0], 1.0f};
    float probability = 1.0f;
    for (std::int32_t node = 0;;) {
        const Shares shares = shares_of(at(set.tree, node), from);
        if (!(shares.sum() > 0.0f)) return {};
        const float wanted = u * shares.sum();
        std::size_t i = 0; // below the last: rounded, wanted stays below the sum
        for (const float end : shares.running)
            i += end <= wanted ? 1u : 0u;
        const float before = i > 0 ? shares.running[i - 1] : 0.0f;
        probability *= shares.own[i] / shares.sum();
        u = std::min((wanted - before) / shares.own[i], kLargestBelowOne);
        const std::int32_t child = at(set.tree, node).child[i];
        if (child >= 0) return {child, probability};
        node = -child;
    }
}

LampChoice find_lamp(const LampSet& set, const Vec3& from, const LampHit& hit) {
    if (set.tree.empty()) return {};
    if (!is_choice(set)) {
        const std::int32_t only = set.tree[0].child[0];
        return is_lamp(at(set.lamps, only), hit) ? LampChoice{only, 1.0f} : LampChoice{};
    }
    return find_below(set, 0, from, hit, 1.0f);
}

} // namespace mh
