// The order of the steps around the frames, the closing text, and the window.
// SPDX-License-Identifier: MIT
#include "integrate/progressive.h"

#include "integrate/exact_row.h"
#include "integrate/whole_frames.h"
#include "math/stop.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>

#include <GL/freeglut.h>
#include <gtest/gtest.h>

namespace mh::test {
namespace {

std::string log_of_steps;

void log_step(char step, std::uint32_t frame) {
    log_of_steps += step;
    log_of_steps += static_cast<char>('0' + frame % 10);
}

constexpr std::int64_t kMicroseconds = 4;

const FrameSteps kLogging = {[](std::uint32_t frame) { log_step('b', frame); },
                             [](std::uint32_t frame) {
                                 log_step('r', frame);
                                 RayStatistics.render_rays += 10;
                                 RayStatistics.render_microseconds += kMicroseconds;
                             },
                             [] { log_of_steps += '1'; }, [] { log_of_steps += 'f'; }};

struct ProgressiveLoop : testing::Test {
    ProgressiveLoop() {
        log_of_steps.clear();
        Cameras.resize(1);
        ResetCamera(Cameras[0]);
        Cameras[0].width = 2;
        Cameras[0].height = 1;
        Cameras[0].sample = 3;
        InitializeCameras();
        scene.take_report();
    }

    ~ProgressiveLoop() override { PreviewWindow = false; }

    TemporaryFolder folder;
    FreshScene scene;
};

TEST_F(ProgressiveLoop, RunsItsStepsInOrderAndReports) {
    Cameras[0].aovs[0].image.floats = {1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.5f};
    RunProgressiveLoop(kLogging);
    EXPECT_EQ(log_of_steps, "b0r01b1r1b2r2f");
    EXPECT_FALSE(RunFrame());
    EXPECT_TRUE(std::filesystem::exists("beauty.hdr"));
    const std::string frame = "performance           2.5000 [ M rays/second ]    "
                              "      250000.0000 [ frames/second ]\n";
    // Each pixel's largest channel is 1: the second moment is 1.
    const std::string average = "avgerage of beauty.hdr           0.5000            0.5000"
                                "            0.2500 [ n/a ]\n";
    const std::string variance = "variance of beauty.hdr           0.7500            0.7500"
                                 "            0.9375 [ n/a ]\n";
    EXPECT_EQ(scene.take_report(), frame + frame + frame + kRule + average + variance + kRule);
}

// In float the sums of so many pixels end at 0.82 and -0.11.
TEST_F(ProgressiveLoop, StatisticsOfLargePicturesAreExact) {
    Cameras[0].width = 3840;
    Cameras[0].height = 2160;
    Cameras[0].sample = 1;
    Cameras[0].aovs[0].image.path.clear();
    InitializeCameras();
    std::fill(Cameras[0].aovs[0].image.floats.begin(), Cameras[0].aovs[0].image.floats.end(),
              0.75f);
    RunProgressiveLoop(kLogging);
    const std::string report = scene.take_report();
    EXPECT_NE(report.find("avgerage of            0.7500            0.7500            0.7500"),
              std::string::npos)
        << report;
    EXPECT_NE(report.find("variance of            0.0000            0.0000            0.0000"),
              std::string::npos);
}

// Each frame adds 1 to the beauty image's mean and to the sum of an AOV; the one numbered cut_at is
// cut after it has done so.
struct CutFrames : ProgressiveLoop {
    CutFrames() {
        AddAov(Cameras[0].aovs);
        Cameras[0].aovs[1].channel = static_cast<std::uint32_t>(Channel::depth);
        InitializeCameras();
        Hooks.drops_cut_frames = true;
        scene.take_report();
    }

    ~CutFrames() override {
        Hooks.drops_cut_frames = false;
        StopRequested = false;
    }

    static void add_one(std::uint32_t frame) {
        keep_row(0);
        for (Aov& aov : Cameras[0].aovs)
            for (float& value : aov.image.floats)
                value += 1.0f;
        whole_during_frame = OfWholeFrames(Cameras[0].aovs[0].image).floats[0];
        if (frame != cut_at) return;
        StopRequested = true;
        cut_frame();
    }

    static inline std::uint32_t cut_at = 0;
    static inline float whole_during_frame = 0.0f;
};

TEST_F(CutFrames, LeaveNoTraceInTheImages) {
    const auto value = [](std::size_t aov) { return Cameras[0].aovs[aov].image.floats.back(); };
    FrameSteps steps = kLogging;
    steps.render_pixels = add_one;
    cut_at = 2;
    RunProgressiveLoop(steps);
    EXPECT_EQ(whole_during_frame, 2.0f); // of frames 0 and 1, while 2 was under way
    EXPECT_EQ(value(0), 2.0f);
    EXPECT_EQ(value(1), 3.0f); // a sum for 3 frames, of 2
    EXPECT_EQ(FrameIndex, 2u);
    EXPECT_TRUE(std::filesystem::exists("beauty.hdr"));
}

TEST_F(CutFrames, WriteNothingWhereTheyAreTheFirst) {
    FrameSteps steps = kLogging;
    steps.render_pixels = add_one;
    cut_at = 0;
    RunProgressiveLoop(steps);
    FinalizeCameras();
    EXPECT_FALSE(std::filesystem::exists("beauty.hdr"));
}

TEST_F(ProgressiveLoop, RunsAOneFrameRunAndNoneWithoutACamera) {
    Cameras[0].sample = 1;
    RunProgressiveLoop(kLogging);
    EXPECT_EQ(log_of_steps, "b0r01f");
    log_of_steps.clear();
    scene.take_report();
    Cameras.clear();
    RunProgressiveLoop(kLogging);
    EXPECT_FALSE(RunFrame());
    EXPECT_EQ(log_of_steps + scene.take_report(), "");
}

TEST_F(ProgressiveLoop, RendersWithoutAWindowWhereThereIsNoDisplay) {
    const char* display = std::getenv("DISPLAY");
    const std::string before = display == nullptr ? "" : display;
    unsetenv("DISPLAY");
    PreviewWindow = true;
    RunProgressiveLoop(kLogging);
    EXPECT_EQ(log_of_steps, "b0r01b1r1b2r2f");
    const std::string report = scene.take_report();
    EXPECT_TRUE(report.starts_with("error :( \tpreview - no window: "));
    EXPECT_NE(report.find("; rendering goes on without it\n"), std::string::npos);
    EXPECT_EQ(report.find("close the window"), std::string::npos);
    if (!before.empty()) setenv("DISPLAY", before.c_str(), 1);
}

TEST_F(ProgressiveLoop, OpensOneWindowAfterTheOther) {
    if (std::getenv("DISPLAY") == nullptr) GTEST_SKIP() << "needs a display";
    PreviewWindow = true;
    FrameSteps closing = kLogging;
    closing.finish_lights = [] {
        log_of_steps += 'f';
        glutDestroyWindow(glutGetWindow());
    };
    for (int run = 0; run < 2; ++run) {
        log_of_steps.clear();
        RunProgressiveLoop(closing);
        EXPECT_EQ(log_of_steps, "b0r01b1r1b2r2f") << run;
        const std::string report = scene.take_report();
        EXPECT_EQ(report.find("error"), std::string::npos) << report;
        EXPECT_NE(report.find("close the window to exit"), std::string::npos);
    }
}

// The images are those of the one frame done, not a third of them.
TEST_F(CutFrames, AWindowThatIsClosedEndsTheRunLikeAnyEarlyEnd) {
    if (std::getenv("DISPLAY") == nullptr) GTEST_SKIP() << "needs a display";
    PreviewWindow = true;
    FrameSteps steps = kLogging;
    steps.render_pixels = add_one;
    steps.first_frame_done = [] { glutDestroyWindow(glutGetWindow()); };
    static int ends = 0;
    ends = 0;
    Hooks.ended_early = [] { ++ends; };
    cut_at = 99;
    RunProgressiveLoop(steps);
    Hooks.ended_early = nullptr;
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(FrameIndex, 1u);
    EXPECT_EQ(Cameras[0].aovs[1].image.floats.back(), 3.0f);
}

// Of all sizes that a float can have, in numbers that are whole steps as well as not; in doubles as
// exactly as these can.
TEST(ExactRow, HoldsTheSumsOfFixedPointNumbers) {
    constexpr std::size_t kValues = 77;
    std::vector<ExactRow> rows = {{std::vector<std::int64_t>(kValues), {}, {}},
                                  {{}, {}, std::vector<double>(kValues)}};
    std::vector<FixedPoint> sums(kValues);
    std::vector<double> sizes(kValues);
    std::mt19937 random(5);
    for (int frame = 0; frame < 400; ++frame) {
        std::vector<float> values(kValues);
        for (std::size_t i = 0; i < kValues; ++i) {
            const int bits = static_cast<int>(random() % (i < 40 ? 20 : 150)) - (i < 40 ? 10 : 80);
            values[i] = std::ldexp(static_cast<float>(random()) / 4e9f - 0.5f, bits);
            if (i % 16 == 3) values[i] = frame % 7 == 0 ? kNan : kInfinity;
            add(sums[i], to_fixed(3.0f * values[i], kLargestOfFrame));
            sizes[i] += std::fabs(to_double(to_fixed(3.0f * values[i], kLargestOfFrame)));
        }
        for (ExactRow& row : rows)
            add_values(row, values.data(), 3.0f);
        if (frame != 200) continue;
        const std::vector<double> before = rows[1].doubles;
        rows = RowsOf(SumsOf(rows), rows);
        EXPECT_EQ(rows[1].doubles, before);
    }
    for (std::size_t i = 0; i < kValues; ++i) {
        EXPECT_EQ(value_of(rows[0], i), to_double(sums[i])) << i;
        EXPECT_NEAR(value_of(rows[1], i), to_double(sums[i]), 1e-14 * sizes[i] + 1e-17) << i;
    }
}

} // namespace
} // namespace mh::test
