// Files that images become: read back, and what stays when one cannot be written.
// SPDX-License-Identifier: MIT
#include "output/image_writer.h"

#include "math/at.h"
#include "output/display.h"
#include "output/file_writer.h"
#include "output/state.h"
#include "shading/images.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>
#include <tuple>

#include <FreeImage.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace mh {
namespace {

using test::content_of;

std::size_t files_here() {
    const std::filesystem::directory_iterator folder(".");
    return to_size(std::distance(begin(folder), end(folder)));
}

// 2 x 2 pixels of three floats; every value differs and is exact in all float formats.
Image ramp(const std::string& path) {
    Image image;
    AllocateImage(image, 2, 2, 3, 32, false);
    for (std::size_t i = 0; i < image.floats.size(); ++i)
        image.floats[i] = static_cast<float>(i) / 16.0f;
    image.path = path;
    return image;
}

// The file's pixels from the top row on, as floats: bytes over 255. Alpha is kept.
std::vector<float> read_back(const std::string& name) {
    FIBITMAP* loaded = FreeImage_Load(FreeImage_GetFileType(name.c_str(), 0), name.c_str(), 0);
    if (loaded == nullptr) return {};
    const bool alpha = FreeImage_GetImageType(loaded) == FIT_RGBAF;
    FIBITMAP* floats = alpha ? FreeImage_Clone(loaded) : FreeImage_ConvertToRGBF(loaded);
    FreeImage_Unload(loaded);
    std::vector<float> values;
    const std::size_t row = FreeImage_GetWidth(floats) * (alpha ? 4u : 3u);
    for (int y = static_cast<int>(FreeImage_GetHeight(floats)) - 1; y >= 0; --y) {
        const auto line = reinterpret_cast<const float*>(FreeImage_GetScanLine(floats, y));
        values.insert(values.end(), line, line + row);
    }
    FreeImage_Unload(floats);
    return values;
}

// What a file of that name holds after the image was written to it.
std::vector<float> written(Image image, const std::string& name) {
    image.path = name;
    EXPECT_TRUE(WriteImage(image)) << name;
    return read_back(name);
}

struct ImageWriter : testing::Test {
    test::TemporaryFolder folder;
    test::FreshScene scene;
};

TEST_F(ImageWriter, KeepsValuesAndRowsInEveryKindOfFormat) {
    // Tolerance: half a level. RGBE holds 8 bits below the largest channel, EXR halves are exact.
    const std::pair<const char*, float> formats[] = {
        {"a.hdr", 1.0f / 256.0f}, {"a.exr", 0.0f},          {"A.EXR", 0.0f},
        {"a.png", 1.0f / 255.0f}, {"a.bmp", 1.0f / 255.0f}, {"a.tga", 1.0f / 255.0f},
        {"a.ppm", 1.0f / 255.0f}};
    for (const auto& [name, tolerance] : formats) {
        const std::vector<float> values = written(ramp(""), name);
        ASSERT_EQ(values.size(), 12u) << name;
        for (std::size_t i = 0; i < 12; ++i)
            EXPECT_NEAR(values[i], ramp("").floats[i], tolerance) << name << " value " << i;
    }
    EXPECT_EQ(files_here(), std::size(formats));
    EXPECT_EQ(scene.take_report(), "");
}

TEST_F(ImageWriter, RoundsToTheNearestThatAFormatHolds) {
    Image image = ramp("");
    for (std::size_t i = 0; i < 12; ++i)
        image.floats[i] = std::exp2(0.37f * static_cast<float>(i) - 2.0f);
    const std::vector<float> shared = written(image, "a.hdr"), halves = written(image, "a.exr");
    for (std::size_t i = 0; i < 12; ++i) {
        const float largest = image.floats[i / 3 * 3 + 2];
        EXPECT_NEAR(shared[i], image.floats[i], largest / 256.0f) << i;
        EXPECT_NEAR(halves[i], image.floats[i], image.floats[i] / 2048.0f) << i;
    }
    image.floats[1] = 70000.0f;
    EXPECT_EQ(written(image, "a.exr")[1], 65504.0f);
    ImageWriting.exr_floats = true;
    EXPECT_EQ(written(image, "a.exr"), image.floats);
}

TEST_F(ImageWriter, WritesPortableFloatMapsWithTheBottomRowFirst) {
    ASSERT_TRUE(WriteImage(ramp("a.pfm")));
    std::vector<float> rows = ramp("").floats;
    std::rotate(rows.begin(), rows.begin() + 6, rows.end());
    const std::string file = content_of("a.pfm");
    EXPECT_TRUE(file.starts_with("PF\n"));
    EXPECT_TRUE(file.ends_with(std::string_view(reinterpret_cast<const char*>(rows.data()), 48)));
}

TEST_F(ImageWriter, ConvertsEveryWidthToFloatsAndToBytes) {
    const std::tuple<int, float, float> cases[] = {// the byte in levels
                                                   {1, 1.0f, 255.0f},
                                                   {8, 64.0f / 255.0f, 64.0f},
                                                   {16, 0x4080 / 65535.0f, 64.0f},
                                                   {64, 3.5f, 255.0f}};
    for (const auto& [bits, as_float, as_byte] : cases) {
        Image image;
        AllocateImage(image, 2, 2, 3, bits, false);
        if (bits == 1) image.bits1[5] = true;
        if (bits == 8) image.bytes[5] = 64;
        if (bits == 16) image.words[5] = 0x4080;
        if (bits == 64) image.doubles[5] = 3.5;
        const std::vector<float> floats = written(image, "a.exr"), bytes = written(image, "a.png");
        ASSERT_EQ(floats.size() + bytes.size(), 24u) << bits;
        EXPECT_NEAR(floats[5], as_float, 2e-4f) << bits; // a half's 11 bits
        EXPECT_EQ(bytes[5] * 255.0f, as_byte) << bits;
        EXPECT_EQ(bytes[4], 0.0f) << bits;
    }
}

TEST_F(ImageWriter, ClipsBytesAboveOneAndWrapsThemBelowZero) {
    Image image = ramp("a.png"); // values behind the end of the buffer count as 0
    image.floats = {2.0f, 1.0f, 0.5f, -0.5f, -1e30f, test::kNan, 1e30f};
    const std::vector<float> values = written(image, "a.png");
    const float levels[] = {255, 255, 127, 129, 0, 0, 255, 0, 0, 0, 0, 0}; // -127 is 129 in 8 bits
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(values[i] * 255.0f, levels[i]) << i;
}

TEST_F(ImageWriter, WritesNothingThatIsNotFinite) {
    Image image = ramp("");
    const float bad[] = {test::kInfinity, 1.0f, 0.5f, -test::kInfinity, 0.25f, test::kNan};
    for (std::size_t i = 0; i < image.floats.size(); ++i)
        image.floats[i] = bad[i % 6];
    for (const char* name : {"a.pfm", "a.hdr", "a.exr"})
        EXPECT_EQ(written(image, name),
                  (std::vector<float>{0, 1, 0.5f, 0, 0.25f, 0, 0, 1, 0.5f, 0, 0.25f, 0}))
            << name;
}

TEST_F(ImageWriter, SpreadsOneChannelAndKeepsFour) {
    Image image;
    AllocateImage(image, 2, 1, 1, 32, false);
    image.floats = {0.25f, 4.0f};
    const std::vector<float> spread = {0.25f, 0.25f, 0.25f, 4.0f, 4.0f, 4.0f};
    EXPECT_EQ(written(image, "gray.exr"), spread);
    AllocateImage(image, 1, 1, 4, 32, false);
    image.floats = {0.25f, 0.5f, 1.0f, 2.0f};
    EXPECT_EQ(written(image, "gray.exr"), image.floats);
}

TEST_F(ImageWriter, TakesTheFirstFormatOfTheFilesOwnNameThatCanHoldTheImage) {
    const std::string png = "\x89PNG";
    for (const char* name : {"a.tif.png", "a.png.tif", "a.gif.png", "www.icon.com/a.png",
                             "shots.exr_tests/a.PNG", "a.pfm/../a.png"}) {
        std::filesystem::create_directories(std::filesystem::path(name).remove_filename() / ".");
        ASSERT_TRUE(WriteImage(ramp(name))) << name;
        EXPECT_EQ(content_of(name).substr(0, 4), png) << name;
    }
    ASSERT_TRUE(WriteImage(ramp("a.pfm.hdr"))); // not turned, by the name's other extension
    EXPECT_EQ(content_of("a.pfm.hdr").substr(0, 2), "#?");
    EXPECT_EQ(read_back("a.pfm.hdr")[0], ramp("").floats[6]);
}

TEST_F(ImageWriter, WritesNothingWithoutANameAPixelOrAnExtensionItKnows) {
    EXPECT_FALSE(WriteImage(ramp("")));
    EXPECT_EQ(scene.take_report(), "");
    for (const char* name : {"abc", "beauty", "beauty.Png", "beauty.webm", "a.gif", "none/a.png"}) {
        EXPECT_FALSE(WriteImage(ramp(name))) << name;
        const std::string report = scene.take_report();
        const std::string warning = std::string("warning :( \timage - ") + name;
        EXPECT_TRUE(report.starts_with(warning + "\tcannot be written: ")) << report;
        EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 1) << report;
        EXPECT_FALSE(WriteImage(ramp(name)));
        EXPECT_EQ(scene.take_report(), "") << "the same fault again";
    }
    Image image = ramp("a.png");
    for (const auto& [width, height] : {std::pair{0, 2}, {2, 0}, {-2, -2}}) {
        image.width = width;
        image.height = height;
        EXPECT_FALSE(WriteImage(image));
    }
    EXPECT_EQ(files_here(), 0u);
}

TEST_F(ImageWriter, KeepsTheOlderFileWhenTheDiskIsFull) {
    folder.write("a.png", "older");
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit tiny = {16, before.rlim_max}; // bytes: stands for a full disk
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &tiny);
    EXPECT_FALSE(WriteImage(ramp("a.png")));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(content_of("a.png"), "older");
    EXPECT_EQ(files_here(), 1u);
    EXPECT_EQ(scene.take_report(),
              "warning :( \timage - a.png\tcannot be written: File too large\n");
}

void write_until_killed(const Image& image) {
    const rlimit tiny = {16, 16}, none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    setrlimit(RLIMIT_FSIZE, &tiny);
    std::signal(SIGXFSZ, SIG_DFL);
    WriteImage(image);
}

TEST_F(ImageWriter, TakesUpWhatAKilledWriterOfTheSameNameLeft) {
    const std::string longest = std::string(251, 'n') + ".png"; // 255 bytes
    ASSERT_TRUE(WriteImage(ramp(longest)));
    EXPECT_EXIT(write_until_killed(ramp(longest)), testing::KilledBySignal(SIGXFSZ), "");
    EXPECT_EQ(files_here(), 2u);
    ASSERT_TRUE(WriteImage(ramp("other.png")));
    EXPECT_EQ(files_here(), 3u); // which may be under way elsewhere
    ASSERT_TRUE(WriteImage(ramp(longest)));
    EXPECT_EQ(files_here(), 2u);
    EXPECT_EQ(read_back(longest), read_back("other.png"));
}

TEST_F(ImageWriter, LetsOneWriterOfAFileWriteAtATime) {
    const auto write = [](char letter) {
        for (int i = 0; i < 40; ++i)
            EXPECT_EQ(ReplaceFile("a", std::string(300000, letter)), "");
    };
    std::thread first(write, 'a'), second(write, 'b');
    for (int i = 0; i < 300; ++i) {
        const std::string content = content_of("a");
        EXPECT_TRUE(content.empty() || content == std::string(300000, content[0]));
    }
    first.join();
    second.join();
    EXPECT_EQ(files_here(), 1u);
}

TEST_F(ImageWriter, KeepsThePermissionsOfAFile) {
    namespace fs = std::filesystem;
    const fs::perms own = fs::perms::owner_read | fs::perms::owner_write;
    EXPECT_EQ(ReplaceFile("a", "first"), "");
    fs::permissions("a", own);
    EXPECT_EQ(ReplaceFile("a", "second"), "");
    EXPECT_EQ(fs::status("a").permissions(), own);
}

TEST_F(ImageWriter, ReplacesTheFileBehindALink) {
    folder.write("real/picture", "older");
    std::filesystem::create_symlink("real/picture", "a.png");
    ASSERT_TRUE(WriteImage(ramp("a.png")));
    EXPECT_TRUE(std::filesystem::is_symlink("a.png"));
    EXPECT_EQ(content_of("real/picture").substr(1, 3), "PNG");
}

TEST_F(ImageWriter, LeavesPipesDevicesAndFoldersInPlace) {
    ASSERT_EQ(mkfifo("real", 0600), 0);
    std::filesystem::create_symlink("real", "a.png");
    EXPECT_FALSE(WriteImage(ramp("a.png")));
    EXPECT_TRUE(std::filesystem::is_fifo("real"));
    EXPECT_EQ(files_here(), 2u);
    EXPECT_EQ(scene.take_report(),
              "warning :( \timage - a.png\tcannot be written: it is not a regular file\n");
}

TEST(PreviewWindow, ShowsRoundedSrgbOfTheExposureThatKeysSet) {
    Image image;
    image.floats = {0.18f, 1.0f, 7.0f, -1.0f, std::nanf(""), 0.001f};
    std::vector<std::uint8_t> bytes;
    ToDisplay(image, exposure_after('0', 3.0f), bytes);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{118, 255, 255, 0, 0, 3}));
    ToDisplay(image, exposure_after('-', exposure_after('-', 0.0f)), bytes); // one stop
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{85, 188, 255, 0, 0, 2}));
    EXPECT_EQ(exposure_after('+', exposure_after('x', 1.0f)), 1.5f);
}

} // namespace
} // namespace mh
