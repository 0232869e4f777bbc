// Construction and descent of the tree of lamps.
// SPDX-License-Identifier: MIT
#include "lights/lamp_tree.h"

#include "lights/lamp_shape.h"
#include "math/at.h"
#include "math/axis.h"
#include "math/constants.h"
#include "math/roots.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace mh {

namespace {

constexpr int kBins = 12;
constexpr int kDeepest = 64; // levels; below half of them lamps are split by number alone

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

Vec3 middle_of(const Lamp& lamp) {
    return center(box_of(lamp));
}

float sine_of(float cosine) {
    return std::sqrt(std::max(1.0f - cosine * cosine, 0.0f));
}

using Indices = std::span<std::int32_t>;

LampNode bounds_of(const LampSet& set, Indices indices) {
    LampNode node;
    Vec3 sum;
    for (const std::int32_t i : indices) {
        const Lamp& lamp = at(set.lamps, i);
        merge(node.box, box_of(lamp));
        node.power += power_of(lamp);
        sum += power_of(lamp) * lamp.normal;
    }
    node.axis = unit_direction(sum);
    for (const std::int32_t i : indices)
        node.cos_spread = std::min(node.cos_spread, dot(node.axis, at(set.lamps, i).normal));
    if (node.cos_spread <= 0.0f) node.cos_spread = -1.0f;
    node.sin_spread = sine_of(node.cos_spread);
    node.center = center(node.box);
    const Vec3 extent = node.box.max - node.box.min;
    node.radius_square = 0.25f * dot(extent, extent);
    return node;
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

int bin_of(const Lamp& lamp, const Aabb& centers, int axis) {
    const float low = component(centers.min, axis), high = component(centers.max, axis);
    const float at = (component(middle_of(lamp), axis) - low) / (high - low);
    return std::clamp(static_cast<int>(at * kBins), 0, kBins - 1);
}

struct Split {
    int axis = -1, bin = 0; // bins up to this one are on the first side
    float cost = kFar;
};

void try_axis(const LampSet& set, Indices indices, const Aabb& centers, int axis, Split& best) {
    if (!(component(centers.max, axis) > component(centers.min, axis))) return;
    std::array<Bin, kBins> bins;
    for (const std::int32_t i : indices) {
        const Lamp& lamp = at(set.lamps, i);
        const Bin one = {box_of(lamp), power_of(lamp) * lamp.normal, power_of(lamp)};
        add(at(bins, bin_of(lamp, centers, axis)), one);
    }
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
std::size_t split(const LampSet& set, Indices indices, int level) {
    Aabb centers;
    for (const std::int32_t i : indices)
        merge(centers, middle_of(at(set.lamps, i)));
    Split best;
    for (int axis = 0; axis < 3 && level < kDeepest / 2; ++axis)
        try_axis(set, indices, centers, axis, best);
    if (best.axis < 0) return indices.size() / 2;
    const auto middle = std::partition(indices.begin(), indices.end(), [&](std::int32_t i) {
        return bin_of(at(set.lamps, i), centers, best.axis) <= best.bin;
    });
    const auto count = to_size(middle - indices.begin());
    return count == 0 || count == indices.size() ? indices.size() / 2 : count;
}

void build(LampSet& set, Indices indices, int level) {
    const std::size_t place = set.tree.size();
    set.tree.push_back(bounds_of(set, indices));
    if (indices.size() == 1) {
        set.tree[place].lamp = indices[0];
        return;
    }
    const std::size_t count = split(set, indices, level);
    build(set, indices.first(count), level + 1);
    set.tree[place].second = static_cast<std::int32_t>(set.tree.size());
    build(set, indices.subspan(count), level + 1);
}

// What the lamps of a node may send to a point, up to a factor: power over the squared distance,
// times the cosine of the smallest angle at which one of them may be seen: that to the axis, less
// those that the normals and the box fill. 0 only where none shines.
float importance(const LampNode& node, const Vec3& from) {
    const Vec3 v = from - node.center;
    const float square = dot(v, v);
    if (!(square > node.radius_square))
        return node.power / std::max(node.radius_square, kSmallestSquare);
    const float inverse = 1.0f / square;
    const float cos_axis = dot(v, node.axis) * std::sqrt(inverse);
    const float sin_box_square = node.radius_square * inverse;
    const float cos_box = std::sqrt(1.0f - sin_box_square);
    float cosine = 1.0f;
    if (cos_axis < node.cos_spread) {
        const float sin_axis = sine_of(cos_axis);
        const float facing = cos_axis * node.cos_spread + sin_axis * node.sin_spread;
        const float facing_sine = sin_axis * node.cos_spread - cos_axis * node.sin_spread;
        if (facing < cos_box) cosine = facing * cos_box + facing_sine * std::sqrt(sin_box_square);
    }
    return cosine > 0.0f ? node.power * cosine * inverse : 0.0f;
}

// Share of the first child of an inner node; below 0 when neither shines.
float first_share(const LampSet& set, std::size_t node, const Vec3& from) {
    const float first = importance(set.tree[node + 1], from);
    const float second = importance(at(set.tree, set.tree[node].second), from);
    return first + second > 0.0f ? first / (first + second) : -1.0f;
}

bool is_near(const LampNode& node, const LampHit& hit) {
    const Vec3 margin = splat(hit.rounding);
    return contains(Aabb{node.box.min - margin, node.box.max + margin}, hit.position);
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

LampChoice find_below(const LampSet& set, std::size_t node, const Vec3& from, const LampHit& hit,
                      float probability) {
    const LampNode& record = set.tree[node];
    if (!(probability > 0.0f) || !is_near(record, hit)) return {};
    if (record.second < 0) {
        const bool found = is_lamp(at(set.lamps, record.lamp), hit);
        return found ? LampChoice{record.lamp, probability} : LampChoice{};
    }
    const float share = first_share(set, node, from);
    if (share < 0.0f) return {};
    const LampChoice first = find_below(set, node + 1, from, hit, probability * share);
    if (first.lamp >= 0) return first;
    return find_below(set, to_size(record.second), from, hit, probability * (1.0f - share));
}

} // namespace

void BuildLampTree(LampSet& set) {
    set.tree.clear();
    std::vector<std::int32_t> indices;
    for (std::size_t i = 0; i < set.lamps.size(); ++i)
        if (set.lamps[i].sampled) indices.push_back(static_cast<std::int32_t>(i));
    if (indices.empty()) return;
    set.tree.reserve(2 * indices.size() - 1);
    build(set, indices, 0);
}

LampChoice choose_lamp(const LampSet& set, const Vec3& from, float u) {
    constexpr float kLargestBelowOne = 0.99999994f;
    if (set.tree.empty()) return {};
    std::size_t node = 0;
    float probability = 1.0f;
    while (set.tree[node].second >= 0) {
        const float share = first_share(set, node, from);
        if (share < 0.0f) return {};
        const bool first = u < share;
        const float taken = first ? share : 1.0f - share;
        u = std::min((first ? u : u - share) / taken, kLargestBelowOne);
        probability *= taken;
        node = first ? node + 1 : to_size(set.tree[node].second);
    }
    return {set.tree[node].lamp, probability};
}

LampChoice find_lamp(const LampSet& set, const Vec3& from, const LampHit& hit) {
    return set.tree.empty() ? LampChoice{} : find_below(set, 0, from, hit, 1.0f);
}

} // namespace mh
