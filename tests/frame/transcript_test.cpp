// Whole runs over scene directories: their transcript to the letter, but for what a clock measures,
// and what one run leaves to the next.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "frame/types.h"
#include "geometry/types.h"
#include "integrate/types.h"
#include "lights/types.h"
#include "output/types.h"
#include "shading/types.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <filesystem>
#include <regex>

#include <gtest/gtest.h>

namespace mh {
namespace {

using test::content_of;

const std::string kCamera = R"(camera
    resolution 8 4
    sample 2
    pose
        position 0 0 4
        target 0 0 0
        up_vector 0 1 0
        field_of_view 40
    end
end
)";

const std::string kFewPhotons = "sky_light\nphoton 0\nend\ngeometry_light\nphoton 0\nend\n";

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

// The transcript of that name among the files beside this test.
std::string expected(const std::string& name) {
    return content_of(MOONHARE_SOURCE_DIR "/tests/frame/transcripts/" + name);
}

struct Transcript : testing::Test {
    test::TemporaryFolder folder;
};

TEST_F(Transcript, OfAnEmptyDirectory) {
    folder.write("scene/light/none.mh", kFewPhotons);
    const std::string report = transcript_of(folder.path + "scene/");
    EXPECT_EQ(masked(report), expected("empty.txt"));
    const std::size_t banner = report.find("            moonhare ");
    EXPECT_EQ(report.find('\n', banner) - banner, 80u);
    EXPECT_FALSE(std::filesystem::exists("beauty.hdr"));
}

TEST_F(Transcript, OfOneTriangle) {
    folder.write("scene/light/none.mh", kFewPhotons);
    folder.write("scene/camera/camera.mh", kCamera);
    folder.write("scene/geometry/object.mh", "object\nname t\nobj \"t.obj\"\nend\n");
    folder.write("scene/geometry/t.obj", "v -9 -9 0\nv 9 -9 0\nv 0 9 0\nf 1 2 3\n");
    EXPECT_EQ(masked(transcript_of(folder.path + "scene/")), expected("triangle.txt"));
}

TEST_F(Transcript, OfASecondRunShowsNothingOfTheFirst) {
    folder.write("a/light/none.mh", kFewPhotons);
    folder.write("a/camera/camera.mh", kCamera);
    folder.write("b/light/light.mh",
                 "sky_light\nphoton 100\ncolor 0 0 1\nturbidity 2\naov\nimage \"sky.hdr\"\nend\n"
                 "link\nshader \"x\"\nend\nend\npoint_light\nphoton 100\nend\n"
                 "geometry_light\nsample 4\nphoton 50\naov\nimage \"g.hdr\"\nend\nend\n");
    folder.write("b/camera/camera.mh", kCamera + "camera\nname \"second\"\nend\n");
    folder.write("b/render/render.mh", "render\nclamp 0 0 0\nfinal_gather\nsample 3\nray_depth 2\n"
                                       "radius 9\nend\nend\n");
    folder.write("b/shader/x.mh", "shader\nname \"x\"\nsurface_shader\nemissive\ncolor 1 1 1\n"
                                  "image \"none.png\"\nend\nend\nend\n");
    folder.write("b/geometry/object.mh", "object\nshader \"x\"\nobj \"t.obj\"\nend\n");
    folder.write("b/geometry/t.obj", "v -9 -9 0\nv 9 -9 0\nv 0 9 0\nf 1 2 3\n");
    const std::string first = masked(transcript_of(folder.path + "a/"));
    const std::string picture = content_of("beauty.hdr");
    transcript_of(folder.path + "b/");
    EXPECT_NE(content_of("beauty.hdr"), picture);
    EXPECT_TRUE(std::filesystem::exists("sky.hdr"));
    EXPECT_EQ(masked(transcript_of(folder.path + "a/")), first);
    EXPECT_EQ(content_of("beauty.hdr"), picture);
    EXPECT_TRUE(Cameras.empty() && Objects.empty() && Shaders.empty() && Textures.empty());
    EXPECT_TRUE(PointLights.empty() && ParallelLights.empty() && Photons.empty());
    EXPECT_TRUE(SkyLight.aov_list.empty() && SkyLight.link.names.empty());
    EXPECT_TRUE(GeometryLight.aov_list.empty());
    EXPECT_EQ(SkyLight.turbidity, 9.0f);
}

TEST_F(Transcript, ShowsTheSearchListsOfTheDirectoryAsGiven) {
    folder.write("scene/light/none.mh", kFewPhotons);
    const std::string scene = folder.path + "scene";
    transcript_of(scene);
    EXPECT_EQ(ImageSearchPaths, (std::vector<std::string>{scene + "image", scene, ""}));
    EXPECT_EQ(GeometrySearchPaths, (std::vector<std::string>{scene + "geometry", scene, ""}));
    transcript_of("");
    EXPECT_EQ(ImageSearchPaths, (std::vector<std::string>{"image", ""}));
    EXPECT_EQ(GeometrySearchPaths, (std::vector<std::string>{"geometry", "", ""}));
}

} // namespace
} // namespace mh
