// The binary tree against a plain build that follows the definition one primitive at a time.
// SPDX-License-Identifier: MIT
#include "accel/bounds.h"
#include "accel/face_blocks.h"
#include "accel/tree.h"
#include "random_object.h"
#include "support/expect.h"

#include <algorithm>
#include <sstream>

#include <gtest/gtest.h>
#include <omp.h>

namespace mh::test {
namespace {

struct Entry {
    PrimitiveRef ref;
    Aabb box;
};

// The shape of a tree is (left right) for an inner node, [references] for a leaf.
void write(std::ostream& out, const PrimitiveRef& ref) {
    out << ref.part << '.' << static_cast<int>(ref.kind) << '.' << ref.index << ' ';
}

struct PlainSplit {
    float cost = kFar;
    Aabb left, right;
};

int bin_of(float center, float min, float max) {
    return std::clamp(static_cast<int>(8.0f * ((center - min) / (max - min))), 0, 7);
}

void plain_axis(const std::vector<Entry>& entries, const Aabb& centers, float Vec3::*axis,
                PlainSplit& best) {
    if (centers.min.*axis == centers.max.*axis) return;
    for (int plane = 0; plane < 7; ++plane) {
        PlainSplit split;
        float left = 0.0f, right = 0.0f;
        for (const Entry& e : entries) {
            const float c = center(e.box).*axis;
            const bool is_left = bin_of(c, centers.min.*axis, centers.max.*axis) <= plane;
            merge(is_left ? split.left : split.right, e.box);
            (is_left ? left : right) += 1.0f;
        }
        split.cost = half_area(split.left) * left + half_area(split.right) * right;
        if (split.cost < best.cost) best = split;
    }
}

std::size_t plain_partition(std::vector<Entry>& entries, const PlainSplit& split) {
    std::size_t left = 0, right = 0;
    while (left + right < entries.size()) {
        const Aabb& box = entries[left].box;
        const bool in_left = contains(split.left, box), in_right = contains(split.right, box);
        EXPECT_TRUE(in_left || in_right);
        const bool both_left = half_area(split.right) > half_area(split.left);
        if (in_left && in_right ? both_left : in_left) {
            ++left;
            continue;
        }
        ++right;
        std::swap(entries[left], entries[entries.size() - right]);
    }
    return left;
}

void plain_build(std::ostream& out, std::vector<Entry> entries) {
    Aabb centers;
    for (const Entry& e : entries)
        merge(centers, center(e.box));
    PlainSplit best;
    for (float Vec3::*const axis : {&Vec3::x, &Vec3::y, &Vec3::z})
        if (entries.size() > 1) plain_axis(entries, centers, axis, best);
    const std::size_t left = best.cost < kFar ? plain_partition(entries, best) : 0;
    if (left == 0 || left == entries.size()) {
        out << '[';
        for (const Entry& e : entries)
            write(out, e.ref);
        out << ']';
        return;
    }
    const auto middle = entries.begin() + static_cast<std::ptrdiff_t>(left);
    out << '(';
    plain_build(out, {entries.begin(), middle});
    plain_build(out, {middle, entries.end()});
    out << ')';
}

std::string plain_shape(const Object& object) {
    std::vector<Entry> entries;
    const auto add = [&](std::size_t part, PrimitiveKind kind, std::size_t count) {
        for (std::uint32_t i = 0; i < count; ++i) {
            const PrimitiveRef ref = {static_cast<std::uint16_t>(part), kind, i};
            entries.push_back({ref, reference_bounds(object, ref)});
        }
    };
    for (std::size_t p = 0; p < object.parts.size(); ++p) {
        add(p, PrimitiveKind::particle, object.parts[p].particles.size());
        add(p, PrimitiveKind::cylinder, object.parts[p].cylinders.size());
        add(p, PrimitiveKind::triangle, object.parts[p].triangles.size());
        add(p, PrimitiveKind::tetragon, object.parts[p].tetragons.size());
    }
    std::ostringstream out;
    plain_build(out, entries);
    return out.str();
}

void write_built(std::ostream& out, const Tree& tree, std::uint32_t index) {
    const BinaryNode& node = tree.binary_nodes[index];
    out << (node.count == 0 ? '(' : '[');
    for (std::uint32_t i = 0; node.count == 0 && i < 2; ++i)
        write_built(out, tree, node.first + i);
    for (std::uint32_t i = 0; i < node.count; ++i)
        write(out, tree.binary_references[node.first + i]);
    out << (node.count == 0 ? ')' : ']');
}

std::string built_shape(const Object& object, Tree& tree) {
    printed_by([&] { Build(object, tree); });
    std::ostringstream out;
    write_built(out, tree, 0);
    return out.str();
}

} // namespace

TEST(Build, AgreesWithThePlainBuildOnRandomObjectsAndRows) {
    std::vector<Object> objects;
    for (unsigned seed = 0; seed < 60; ++seed)
        objects.push_back(random_object(seed, 1 + seed * seed / 20, seed % 2 == 0 ? 0.02f : 0.7f));
    for (const Vec3& step :
         {Vec3{}, Vec3{1, 0, 0}, Vec3{0, 0.1f, 0}, Vec3{0, 0, 3}, Vec3{1e-3f, 0, 1e3f}})
        objects.push_back(triangle_row(50, step));
    Tree tree;
    for (std::size_t i = 0; i < objects.size(); ++i)
        EXPECT_EQ(built_shape(objects[i], tree), plain_shape(objects[i])) << i;
}

TEST(Build, MakesTheSameTreeWithOneAndManyThreads) {
    const int threads = omp_get_max_threads();
    std::string shapes[2];
    Tree trees[2];
    Object objects[2] = {random_object(7, 20000, 0.02f), random_object(7, 20000, 0.02f)};
    for (int many = 0; many < 2; ++many) {
        omp_set_num_threads(many == 0 ? 1 : 4);
        shapes[many] = built_shape(objects[many], trees[many]);
        Update(objects[many], trees[many]);
        SATOrder(trees[many]);
    }
    omp_set_num_threads(threads);
    EXPECT_EQ(shapes[0], shapes[1]);
    EXPECT_EQ(trees[0].tree_cost, trees[1].tree_cost);
    EXPECT_TRUE(std::ranges::equal(
        trees[0].nodes, trees[1].nodes,
        [](const WideNode& a, const WideNode& b) { return std::ranges::equal(a.child, b.child); }));
}

TEST(Build, NoLeafIsLargerThanWhatNodesCanCount) {
    constexpr std::uint32_t kSpheres = 1100000; // halved four times, still more than a leaf holds
    Object object;
    object.parts.push_back(empty_part());
    object.parts[0].positions.emplace_back();
    radii(object.parts[0]).push_back(1.0f);
    object.parts[0].particles.assign(kSpheres, 0);
    Tree tree;
    printed_by([&] { Build(object, tree); });
    Update(object, tree);
    std::uint32_t references = 0;
    for (const WideNode& node : tree.nodes)
        for (const std::uint32_t count : node.count)
            references += count;
    EXPECT_EQ(references, kSpheres);
}

TEST(Build, EndsOnBoxesThatAreNotNumbers) {
    Object object = random_object(3, 40, 0.1f);
    for (std::size_t i = 0; i < 40; i += 7)
        radii(object.parts[0])[object.parts[0].particles[i]] = i % 2 == 0 ? kNan : kInfinity;
    Tree tree;
    printed_by([&] { Build(object, tree); });
    Update(object, tree);
    EXPECT_EQ(tree.references.size(), 120u);
}

TEST(Build, PartsBeyondTheirNumbersRepeatTheFirst) {
    Object object;
    object.parts.assign(258, empty_part());
    for (std::uint32_t i = 0; i < 258; ++i) {
        Part& part = object.parts[i];
        part.positions = {{static_cast<float>(i), 0, 0}, {1, 1, 0}, {0, 1, 1}};
        part.triangles.assign(i < 256 ? 1 : 2, {{0, 1, 2}, 0});
    }
    Tree tree;
    const std::string report = printed_by([&] { Build(object, tree); });
    EXPECT_NE(report.find("and 4 primitives are lost"), std::string::npos) << report;
    EXPECT_EQ(tree.binary_references.size(), 258u); // one of each pair in the last two
    for (const PrimitiveRef& ref : tree.binary_references)
        EXPECT_LT(ref.index, object.parts[ref.part].triangles.size());
}

TEST(FaceBlocks, TakeTetragonsOfTheirOwnLeafOnlyAndFourAtMost) {
    Object object;
    object.parts.assign(1, empty_part());
    object.parts[0].tetragons.assign(6, {{0, 1, 2, 3}, 0});
    const std::vector<PrimitiveRef> refs(6, {0, PrimitiveKind::tetragon, 0});
    const std::uint32_t together[] = {0, 0, 0, 3, 4, 4, 4};
    for (std::uint32_t count = 0; count < 7; ++count)
        EXPECT_EQ(tetragons_together(object, refs.data(), count), together[count]) << count;
}

} // namespace mh::test
