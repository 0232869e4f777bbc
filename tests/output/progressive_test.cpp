// The order of the steps around the frames, the closing text, and the window.
// SPDX-License-Identifier: MIT
#include "output/progressive.h"

#include "output/camera.h"
#include "run/types.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

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
    const std::string close =
        "            close the window to exit. happy rendering :) thank you!\n";
    EXPECT_EQ(scene.take_report(),
              frame + frame + frame + kRule + average + variance + kRule + close + kRule);
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
    EXPECT_TRUE(scene.take_report().starts_with("error :( \tpreview - no window: "));
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
    }
}

} // namespace
} // namespace mh::test
