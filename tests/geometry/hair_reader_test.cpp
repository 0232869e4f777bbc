// Hair and fur files: counts, radii, failure messages, cut and absurd files.
// SPDX-License-Identifier: MIT
#include "geometry/hair_reader.h"

#include "geometry/meshes.h"
#include "geometry/objects.h"

#include <bit>
#include <tuple>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

template<typename T>
void put(std::string& file, T value) {
    file.append(reinterpret_cast<const char*>(&value), sizeof value);
}

std::string header(std::uint32_t strands, std::uint32_t points, std::uint32_t flags,
                   std::uint32_t segments = 0, float thickness = 1.0f) {
    std::string file = "HAIR";
    for (const std::uint32_t x : {strands, points, flags, segments})
        put(file, x);
    put(file, thickness);
    file.resize(128);
    return file;
}

// Two strands of 2 and 0 segments, then one of 1, with every array.
std::string full_file() {
    std::string file = header(3, 6, 31);
    for (const std::uint16_t n : std::initializer_list<std::uint16_t>{2, 0, 1})
        put(file, n);
    for (int i = 0; i < 3 * 6 + 6 + 6 + 3 * 6; ++i)
        put(file, static_cast<float>(i));
    return file;
}

struct HairTest : MeshTest {
    TemporaryFolder folder;

    Part read(const std::string& content, void (*reader)(Part&, const std::string&) = ReadHair) {
        folder.write("x.hair", content);
        scene.take_report();
        Part part = empty_part();
        reader(part, "x.hair");
        return part;
    }
};

TEST_F(HairTest, ReadsEveryArray) {
    const Part part = read(full_file());
    EXPECT_EQ(scene.take_report(), "");
    ASSERT_EQ(part.positions.size(), 6u);
    EXPECT_EQ(part.positions[5], (Vec3{15.0f, 16.0f, 17.0f}));
    EXPECT_EQ(part.cylinders, (std::vector<std::uint32_t>{0, 1, 4}));
    EXPECT_EQ(part.strand_lengths, (std::vector<std::uint32_t>{2, 0, 1}));
    EXPECT_EQ(radii(part)[3], 10.5f);
    EXPECT_EQ(uvs(part)[5], (Vec2{5.0f / 6.0f, 1.0f}));
}

TEST_F(HairTest, NamesWhatIsMissing) {
    const std::string file = full_file();
    const std::size_t segments = 128, points = segments + 6, thickness = points + 72;
    const std::size_t transparency = thickness + 24, color = transparency + 24;
    const std::pair<std::string, const char*> cases[] = {
        {file.substr(0, 127), "cannot open hair file header"},
        {"", "cannot open hair file header"},
        {"FURR" + file.substr(4), "hair file has wrong signature"},
        {file.substr(0, points - 1), "cannot read hair segments"},
        {file.substr(0, thickness - 1), "cannot read hair points"},
        {file.substr(0, transparency - 1), "cannot read hair thickness"},
        {file.substr(0, color - 1), "cannot read hair transparency"},
        {file.substr(0, file.size() - 1), "cannot read hair color"},
        {header(3, 6, 1) + std::string(6, '\1'), "cannot read hair points"},
        {header(3, 0, 2), "cannot read hair points"},
        {header(1, 0xFFFFFFFFu, 2) + "x", "cannot read hair points"},
        {header(0xFFFFFFFFu, 1, 3) + std::string(12, '\0'), "cannot read hair segments"}};
    for (const auto& [content, message] : cases) {
        const Part part = read(content);
        EXPECT_TRUE(part.positions.empty() && part.strand_lengths.empty()) << message;
        EXPECT_EQ(scene.take_report(), std::string(message) + " x.hair\n");
    }
    Part part = empty_part();
    ReadHair(part, "none");
    EXPECT_EQ(scene.take_report(), "cannot open none\n");
}

TEST_F(HairTest, TakesTheDefaultsOfTheHeaderAndEndsStrandsWhereThePointsEnd) {
    const std::tuple<std::uint32_t, std::uint32_t, std::vector<std::uint32_t>> cases[] = {
        {2, 3, {0, 1, 2, 4, 5, 6}},
        {0xFFFFFFFFu, 4, {0, 1, 2, 3, 5, 6}},
        {0xFFFFFFFFu, 0, {}},
        {0xFFFFFFFFu, 0xFFFFFFFFu, {0, 1, 2, 3, 4, 5, 6}}};
    for (const auto& [strands, segments, cylinders] : cases) {
        const Part part = read(header(strands, 8, 2, segments, 0.25f) + std::string(8 * 12, '\0'));
        EXPECT_EQ(part.cylinders, cylinders);
        EXPECT_EQ(radii(part), std::vector<float>(8, 0.125f));
        EXPECT_EQ(scene.take_report(),
                  strands == 2 ? "" : "hair strands need more points than there are x.hair\n");
    }
}

TEST_F(HairTest, ReadsFur) {
    const Part part = read("\xEF\xBB\xBFsegment 2\n\tposition 1 2 3 4\nposition x 5 6\n"
                           "position 1.5abc 2\nposition +1e1 nan 3\r\nsegment 1\n"
                           "color 1 2 3\nposition 7 8 9\n position 1 1 1",
                           ReadFur);
    EXPECT_EQ(part.positions,
              (std::vector<Vec3>{{1, 2, 3}, {}, {1.5f, 0, 0}, {10, 0, 0}, {7, 8, 9}, {1, 1, 1}}));
    EXPECT_EQ(part.cylinders, (std::vector<std::uint32_t>{0, 1, 3}));
    EXPECT_EQ(part.strand_lengths, (std::vector<std::uint32_t>{2, 1}));
    EXPECT_EQ(std::bit_cast<std::uint32_t>(radii(part)[5]), 0x3B449BA6u);
    EXPECT_TRUE(read("segment -4\nsegment 99999999999\n", ReadFur).cylinders.empty());
    EXPECT_EQ(scene.take_report(), "hair strands need more points than there are x.hair\n");
}

} // namespace
} // namespace mh::test
