// Whole runs over scene directories: their transcript to the letter, but for what a clock measures,
// and what one run leaves to the next.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "geometry/state.h"
#include "integrate/state.h"
#include "lights/state.h"
#include "output/state.h"
#include "run/types.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <filesystem>
#include <regex>

#include <gtest/gtest.h>

namespace mh {
namespace {

using test::content_of;

// Scene directories; those whose transcript is compared hold it, too.
const std::string kScenes = MOONHARE_SOURCE_DIR "/tests/frame/transcripts/";

// Progress lines that are overwritten vanish; times, rates, the size of records and the date of the
// build become "#".
std::string masked(const std::string& report) {
    std::string text = std::regex_replace(report, std::regex("[^\n]*\r"), "");
    const std::regex measured("[ 0-9.]{16} \\[ (seconds|frames/second|M rays/second) \\]");
    text = std::regex_replace(text, measured, "# [ $1 ]");
    text = std::regex_replace(text, std::regex("(shaders +1  ).{16}"), "$1#");
    return std::regex_replace(text, std::regex("moonhare [A-Z][a-z]{2} [ 0-9]{2} [0-9]{4} .{47}\n"),
                              "moonhare #\n");
}

std::string transcript_of(const std::string& directory) {
    return test::printed_by([&] { Go(directory); });
}

struct Transcript : testing::Test {
    test::TemporaryFolder folder;
};

TEST_F(Transcript, OfAnEmptyDirectory) {
    const std::string report = transcript_of(kScenes + "empty/");
    EXPECT_EQ(masked(report), content_of(kScenes + "empty/report.txt"));
    const std::size_t banner = report.find("            moonhare ");
    EXPECT_EQ(report.find('\n', banner) - banner, 80u);
    EXPECT_FALSE(std::filesystem::exists("beauty.hdr"));
}

TEST_F(Transcript, OfASecondRunShowsNothingOfTheFirst) {
    const std::string first = masked(transcript_of(kScenes + "triangle/"));
    EXPECT_EQ(first, content_of(kScenes + "triangle/report.txt"));
    const std::string picture = content_of("beauty.hdr");
    transcript_of(kScenes + "other/");
    EXPECT_NE(content_of("beauty.hdr"), picture);
    EXPECT_TRUE(std::filesystem::exists("sky.hdr"));
    EXPECT_EQ(masked(transcript_of(kScenes + "triangle/")), first);
    EXPECT_EQ(content_of("beauty.hdr"), picture);
    EXPECT_TRUE(Cameras.empty() && Objects.empty() && Shaders.empty() && Textures.empty());
    EXPECT_TRUE(PointLights.empty() && ParallelLights.empty() && Photons.empty());
    EXPECT_TRUE(SkyLight.aov_list.empty() && SkyLight.link.names.empty());
    EXPECT_TRUE(GeometryLight.aov_list.empty());
    EXPECT_EQ(SkyLight.turbidity, 9.0f);
}

TEST_F(Transcript, ShowsTheSearchListsOfTheDirectoryAsGiven) {
    const std::string scene = kScenes + "empty";
    transcript_of(scene);
    EXPECT_EQ(ImageSearchPaths, (std::vector<std::string>{scene + "image", scene, ""}));
    EXPECT_EQ(GeometrySearchPaths, (std::vector<std::string>{scene + "geometry", scene, ""}));
    transcript_of("");
    EXPECT_EQ(ImageSearchPaths, (std::vector<std::string>{"image", ""}));
    EXPECT_EQ(GeometrySearchPaths, (std::vector<std::string>{"geometry", "", ""}));
}

} // namespace
} // namespace mh
