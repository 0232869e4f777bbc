// Image files of every format that is read, made here byte by byte, whole, cut and absurd.
// SPDX-License-Identifier: MIT
#include "decode/confine.h"
#include "math/at.h"
#include "math/rgbe.h"
#include "shading/image_helper.h"
#include "shading/image_stream.h"
#include "shading/images.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <algorithm>
#include <bit>
#include <filesystem>
#include <tuple>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mh::test {
namespace {

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values)
        text += static_cast<char>(value);
    return text;
}

std::string little(std::uint64_t value, int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += static_cast<char>(value >> (8 * i) & 0xFFu);
    return text;
}

std::string big(std::uint64_t value, int count) {
    const std::string text = little(value, count);
    return {text.rbegin(), text.rend()};
}

std::string floats(std::initializer_list<float> values) {
    std::string text;
    for (const float value : values)
        text += little(std::bit_cast<std::uint32_t>(value), 4);
    return text;
}

// Files of one column and two rows: the upper texel is (200, 150, 100), the lower (100, 75, 50).
std::string ppm() {
    return "P6\n# two rows\n1 2\n255\n" + bytes({200, 150, 100, 100, 75, 50});
}

std::string tiff(std::uint32_t bits, std::uint32_t sample_format, const std::string& rows) {
    std::string text = "II*" + bytes({0}) + little(8, 4) + little(10, 2);
    const auto size = static_cast<std::uint32_t>(rows.size());
    const std::pair<std::uint32_t, std::uint32_t> tags[] = {
        {256, 1},   {257, 2}, {258, bits}, {259, 1},    {262, 1},
        {273, 134}, {277, 1}, {278, 2},    {279, size}, {339, sample_format}};
    for (const auto& [tag, value] : tags)
        text += little(tag, 2) + little(4, 2) + little(1, 4) + little(value, 4);
    return text + little(0, 4) + rows;
}

// Below (1, 1, 1), above (2, 2, 2).
std::string pfm() {
    return "PF\n1 2\n-1.0\n" + floats({1, 1, 1, 2, 2, 2});
}

std::string hdr() {
    return "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 1\n"
           + bytes({200, 150, 100, 128, 100, 75, 50, 128});
}

// Reads the content under a name; the image's texels are the result.
Image read(const std::string& name, const std::string& content) {
    const TemporaryFolder folder;
    folder.write(name, content);
    Image image;
    image.path = name;
    LoadImage(image);
    return image;
}

struct ImageFile : testing::Test {
    FreshScene scene;
};

TEST_F(ImageFile, HasItsBottomRowFirst) {
    EXPECT_EQ(read("a.ppm", ppm()).bytes, (std::vector<std::uint8_t>{100, 75, 50, 200, 150, 100}));
    const Image reals = read("a.pfm", pfm());
    ASSERT_EQ(reals.height, 2);
    EXPECT_TRUE(reals.rgbe_encoded);
    EXPECT_EQ(read_texel(reals, 0).x, 1.0f); // the first row of the file is the lower one
}

TEST_F(ImageFile, HasItsTopRowFirstUnderTheNameOfARadianceMap) {
    const Image image = read("sky.hdr", hdr());
    ASSERT_EQ(image.height, 2) << scene.take_report();
    EXPECT_EQ(read_texel(image, 0).x, 200.0f / 256.0f);
    EXPECT_EQ(read_texel(image, 1).z, 50.0f / 256.0f);
    EXPECT_EQ(read("sky.hdr.ppm", ppm()).bytes[0], 200);
    EXPECT_EQ(read("SKY.HDR", ppm()).bytes[0], 200); // the content decides on the decoder
    EXPECT_EQ(read_texel(read("sky.pic", hdr()), 0).x, 100.0f / 256.0f);
}

TEST_F(ImageFile, KeepsTheWidthOfItsChannels) {
    const Image words = read("w.tif", tiff(16, 1, little(65535, 2) + little(255, 2)));
    EXPECT_EQ(words.bits, 16);
    EXPECT_EQ(words.words, (std::vector<std::uint16_t>{255, 65535}));
    const Image reals = read("f.tif", tiff(32, 3, floats({2.5f, -1.0f})));
    EXPECT_EQ(reals.floats, (std::vector<float>{-1.0f, 2.5f}));
    const Image whole = read("u.tif", tiff(32, 1, little(7, 4) + little(9, 4)));
    EXPECT_EQ(whole.floats, (std::vector<float>{9.0f, 7.0f}));
    EXPECT_EQ(read("d.tif", tiff(64, 3, std::string(16, '\0'))).width, 0); // not held
    EXPECT_NE(scene.take_report().find("d.tif\thas pixels of 64 bits"), std::string::npos);
}

TEST_F(ImageFile, IsFoundThroughTheSearchListOnce) {
    const TemporaryFolder folder;
    folder.write("maps/wood/a.ppm", ppm());
    ImageSearchPaths = {"", "nowhere", "maps"};
    const int index = FindOrAddImage("wood\\a.ppm");
    EXPECT_EQ(FindOrAddImage("wood\\a.ppm"), index);
    EXPECT_EQ(FindOrAddImage(""), -1);
    EXPECT_TRUE(LoadImage(at(Textures, index)));
    Image directory;
    directory.path = "wood"; // can be opened, but is no file
    EXPECT_FALSE(LoadImage(directory));
    EXPECT_NE(scene.take_report().find("wood\tcannot be found"), std::string::npos);
    ImageSearchPaths = {""};
}

const std::string kPictures = MOONHARE_SOURCE_DIR "/fuzz/corpus/image";

// Cut or with a byte of the head raised, pictures of every format: an image or one line.
TEST_F(ImageFile, IsReadOrRefusedWhateverItHolds) {
    for (const auto& entry : std::filesystem::directory_iterator(kPictures)) {
        const std::string whole = content_of(entry.path());
        for (const std::size_t at : {2u, 9u, 16u, 24u, static_cast<unsigned>(whole.size()) / 2}) {
            std::string changed = whole;
            changed.at(at % whole.size()) = static_cast<char>(changed.at(at % whole.size()) + 0x7F);
            for (const std::string& content : {whole.substr(0, at), changed}) {
                const Image image = read("a.bin", content);
                const std::string report = scene.take_report();
                const bool refused = report.find("a.bin\t") != std::string::npos;
                EXPECT_TRUE(image.width > 0 ? report.empty() : refused) << entry << at << report;
            }
        }
    }
}

TEST_F(ImageFile, IsRefusedWhenItClaimsMoreThanItHolds) {
    const std::string png = "\x89PNG\r\n\x1a\n" + big(13, 4) + "IHDR";
    const std::string tail = bytes({8, 2, 0, 0, 0});
    const std::string jpeg = bytes({0xFF, 0xD8, 0xFF, 0xC0, 0, 17, 8});
    const std::pair<std::string, const char*> cases[] = {
        {png + big(70000, 4) + big(70000, 4) + tail, "more than 2^28"},
        {png + big(9000, 4) + big(9000, 4) + tail, "is too short"},
        {png + big(0, 4) + big(5, 4) + tail, "has no pixels"},
        {jpeg + big(9000, 2) + big(9000, 2) + std::string(20, '\0'), "is too short"},
        {jpeg + big(0, 2) + big(9000, 2) + std::string(20, '\0'), "has no pixels"},
        {"#?RADIANCE\n\n-Y -3 +X 5\n", "has no pixels"},
        {"#?RADIANCE\n\n-Y 16000 +X 16000\n", "is too short"},
        {bytes({0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 8, 24, 0}), "too short"},
        {"P4\n99999 2000\n" + std::string(20, 'x'), "is too short"},
        {"P5\n2147483647 2147483647\n255\n", "more than 2^28"},
        {"hello", "known format"},
        {"", "known format"}};
    for (const auto& [content, fault] : cases) {
        EXPECT_EQ(read("a.bin", content).width, 0);
        const std::string report = scene.take_report();
        EXPECT_NE(report.find(fault), std::string::npos) << report;
    }
}

TEST_F(ImageFile, HasTheSameTexelsFromEitherProcess) {
    int read = 0;
    for (const auto& entry : std::filesystem::directory_iterator(kPictures)) {
        const std::string file = entry.path();
        const FREE_IMAGE_FORMAT format = FormatBySignature(file);
        for (const bool top_first : {false, true}) {
            const Decoding decoding = {top_first ? FloatStorage::floats : FloatStorage::rgbe,
                                       top_first};
            Image here, apart;
            EXPECT_EQ(DecodeImageFile(file, format, decoding, here),
                      DecodeApart(file, decoding, BudgetOf(file, format), apart));
            EXPECT_TRUE(here.width == apart.width && here.channels == apart.channels) << file;
            EXPECT_TRUE(std::ranges::equal(PixelBytes(here), PixelBytes(apart))) << file;
            read += here.width > 0 ? 1 : 0;
        }
    }
    EXPECT_GT(read, 50); // in every format
}

TEST_F(ImageFile, IsOneErrorLineWhateverBecomesOfTheHelper) {
    const TemporaryFolder folder;
    const auto fault_with = [&](const char* program, const std::string& script) {
        folder.write(program, "#!/bin/sh\n" + script);
        std::filesystem::permissions(folder.path + program, std::filesystem::perms::owner_all);
        ImageHelper = folder.path + program;
        Image image;
        const std::string fault = DecodeApart("a.tif", {}, {0.15, 1e9}, image);
        EXPECT_EQ(image.width, 0);
        return fault;
    };
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"crash", "kill -SEGV $$\n", "made its decoder fail"},
        {"hang", "exec sleep 60\n", "was not decoded within"},
        {"other", "head -c 99 /dev/zero\n", "another version"}};
    for (const auto& [program, script, fault] : cases)
        EXPECT_NE(fault_with(program, script).find(fault), std::string::npos) << program;
    ImageHelper = "nowhere/moonhare-decode";
    Image image;
    EXPECT_EQ(DecodeApart("a.tif", {}, {1.0, 1e9}, image),
              "needs nowhere/moonhare-decode: No such file or directory");
    ImageHelper.clear();
}

// A limit on memory is one of the decoder's process: its crash is not ours.
TEST_F(ImageFile, TakesNoMoreMemoryThanItsBudget) {
    const TemporaryFolder folder;
    folder.write("a.tga", bytes({0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0}) + little(2000, 2)
                              + little(2000, 2) + bytes({24, 0}) + std::string(12000000, 'x'));
    Image image;
    EXPECT_NE(DecodeApart("a.tga", {}, {5.0, 4e6}, image), "");
    EXPECT_EQ(image.width, 0);
    EXPECT_EQ(DecodeApart("a.tga", {}, {5.0, 1e9}, image), "");
}

// What code of an image could do in the helper: open a file, a socket, start a process.
TEST(Confine, LeavesNothingButOpenFilesAndMemory) {
    const pid_t child = fork();
    if (child == 0) {
        if (!Confine("5", "1000000000000000")) _exit(1); // sanitizers reserve most addresses
        const bool opened = open("/dev/null", O_RDONLY) >= 0;
        const bool connected = socket(AF_UNIX, SOCK_STREAM, 0) >= 0;
        const bool started = syscall(SYS_fork) >= 0;
        // Not _exit(), before which the address sanitizer asks for the stack of signals.
        syscall(SYS_exit_group, opened || connected || started ? 2 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

} // namespace
} // namespace mh::test
