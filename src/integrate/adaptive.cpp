// The plan of frames: the error that is left is least where each block has frames in proportion to
// the root of what one frame of it adds, over the rays that this takes [Neyman34].
// SPDX-License-Identifier: MIT
#include "integrate/adaptive.h"

#include "integrate/noise.h"
#include "math/at.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/state.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace mh {

namespace {

constexpr std::uint32_t kEvenFrames = 16; // that every pixel has before errors are believed
constexpr float kLeast = 0.125f, kMost = kMostRounds; // frames of a block, of the mean
constexpr float kSmallestNeed = 1e-4f;                // of the largest; others count as none
constexpr int kHalvings = 40;                         // of the interval that holds the right factor

// Frames of the run: those of a piece alone.
std::uint32_t frames_of_run(const Camera& camera) {
    return std::min(static_cast<std::uint32_t>(camera.sample), Hooks.end_frame) - Hooks.begin_frame;
}

// Plans are made at these frames: the first shared one, and where a quarter has been added.
std::uint32_t next_plan(std::uint32_t frame) {
    std::uint32_t plan = kEvenFrames;
    while (plan <= frame)
        plan += std::max(plan / 4, 2u);
    return plan;
}

bool is_plan(std::uint32_t frame) {
    return frame == kEvenFrames || (frame > kEvenFrames && next_plan(frame - 1) == frame);
}

bool has_target() {
    return RendererSettings.noise > 0.0f;
}

// What frames are given in proportion to: towards a target, the frames that reach it, a little
// below it; otherwise what lessens the error of the picture as a whole.
float need_of(const BlockNoise& block) {
    constexpr float kBelow = 0.95f;
    if (!has_target()) return std::sqrt(block.seen * block.frames / block.rays);
    const float missing = block.error / (kBelow * RendererSettings.noise);
    return block.frames * missing * missing;
}

// No less than the mean around the block: what it has seldom shown by chance, those may have.
std::vector<float> needs_of(const std::vector<BlockNoise>& blocks, const BlockGrid& grid) {
    std::vector<float> own(blocks.size()), needs(blocks.size());
    std::transform(blocks.begin(), blocks.end(), own.begin(), need_of);
    for (int i = 0; i < grid.columns * grid.rows; ++i) {
        const int column = i % grid.columns, row = i / grid.columns;
        float sum = 0.0f, count = 0.0f;
        for (int y = std::max(row - 1, 0); y <= std::min(row + 1, grid.rows - 1); ++y)
            for (int x = std::max(column - 1, 0); x <= std::min(column + 1, grid.columns - 1);
                 ++x) {
                const auto other = grid_place(x, y, grid.columns);
                if (!(blocks[other].pixels > 0.0f)) continue;
                sum += own[other];
                ++count;
            }
        const auto block = to_size(i);
        needs[block] = std::max(own[block], sum / std::max(count, 1.0f));
    }
    return needs;
}

float wanted_of(const BlockNoise& block, float need, float per_need, float mean_frames) {
    const float wanted = std::clamp(need * per_need, kLeast * mean_frames, kMost * mean_frames);
    return std::max(2.0f * std::round(0.5f * wanted), block.frames); // as many odd as even ones
}

// Rays of one frame.
double cost_of(const BlockNoise& block) {
    return static_cast<double>(block.pixels) * static_cast<double>(block.rays);
}

// Frames of each block so that all together cast as many rays as without a plan.
std::vector<float> wanted_frames(const std::vector<BlockNoise>& blocks,
                                 const std::vector<float>& needs, float mean_frames) {
    double all = 0.0;
    for (const BlockNoise& block : blocks)
        all += cost_of(block) * static_cast<double>(mean_frames);
    const auto rays = [&](float per_need) {
        double sum = 0.0;
        for (std::size_t i = 0; i < blocks.size(); ++i)
            sum += cost_of(blocks[i])
                   * static_cast<double>(wanted_of(blocks[i], needs[i], per_need, mean_frames));
        return sum;
    };
    const float largest = *std::max_element(needs.begin(), needs.end());
    float low = 0.0f, high = 1.0f; // where needs are frames, no more
    if (!has_target())
        high = largest > 0.0f ? kMost * mean_frames / (kSmallestNeed * largest) : 0.0f;
    if (has_target() && rays(high) <= all) low = high;
    for (int i = 0; i < kHalvings && low < high; ++i) {
        const float middle = 0.5f * (low + high);
        (rays(middle) > all ? high : low) = middle;
    }
    std::vector<float> wanted(blocks.size());
    for (std::size_t i = 0; i < blocks.size(); ++i)
        wanted[i] = wanted_of(blocks[i], needs[i], low, mean_frames);
    return wanted;
}

// Whether unequal frames leave less error in the end. Even ones complete sets of points: there it
// falls by n^-b, of which the halves tell, (n / 2)^(1 - b) being their share of the variance that
// independent frames would have. What larger sets gain is less, by measurement. Unequal frames are
// parts of sets, whose errors count as 1 / n.
bool is_worth_it(const std::vector<BlockNoise>& blocks, const std::vector<float>& needs,
                 float frames, float end) {
    constexpr float kLater = 0.75f;  // of the gain of b over 1
    constexpr double kMargin = 0.98; // for blocks that chance alone makes differ
    const std::vector<float> wanted = wanted_frames(blocks, needs, end);
    double even = 0.0, unequal = 0.0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const BlockNoise& block = blocks[i];
        const float steeper = -std::log(block.share) / std::log(0.5f * frames); // b - 1
        const double error = static_cast<double>(block.pixels * block.seen);
        even += error * std::pow(frames / end, 1.0f + kLater * std::clamp(steeper, 0.0f, 1.0f));
        unequal += error * static_cast<double>(frames / std::max(wanted[i], 1.0f));
    }
    return unequal < kMargin * even;
}

// By frame `next` of `end`. The first plan decides for all: later the sets are cut, and halves do
// not tell what they are worth.
std::vector<float> make_plan(std::uint32_t frame, std::uint32_t next, std::uint32_t end) {
    const std::vector<BlockNoise> blocks = MeasureBlocks();
    const std::vector<float> needs = needs_of(blocks, grid_of(*ActiveCamera()));
    const auto frames = static_cast<float>(frame), mean = static_cast<float>(next);
    const bool is_first = frame == kEvenFrames;
    const bool begun = std::any_of(blocks.begin(), blocks.end(), [&](const BlockNoise& block) {
        return block.pixels > 0.0f && block.frames != frames;
    });
    const bool shares =
        is_first ? is_worth_it(blocks, needs, frames, static_cast<float>(end)) : begun;
    if (shares || has_target()) return wanted_frames(blocks, needs, mean);
    return std::vector<float>(blocks.size(), mean);
}

// How many paths a pixel takes in this frame, of those that it lacks.
std::uint32_t share_of_frame(std::uint32_t done, float wanted, std::uint32_t frames_left) {
    const auto all = static_cast<std::uint32_t>(std::max(wanted, 0.0f));
    return all <= done ? 0 : (all - done + frames_left - 1) / frames_left;
}

} // namespace

bool is_shared_out(std::uint32_t frame) {
    return RendererSettings.adaptive && keeps_planes() && frame >= Hooks.begin_frame + kEvenFrames;
}

std::uint32_t frame_of_camera(const Camera& camera, std::uint32_t n) {
    const std::uint32_t frames = frames_of_run(camera);
    const auto round = static_cast<std::uint32_t>(camera.sample);
    return Hooks.begin_frame + n % frames + n / frames * round;
}

std::vector<BlockTurn> PlanFrame(std::uint32_t frame_of_picture) {
    const Camera& camera = *ActiveCamera();
    const std::uint32_t end = frames_of_run(camera), frame = frame_of_picture - Hooks.begin_frame;
    const std::uint32_t next = std::min(next_plan(frame), end);
    const std::uint32_t frames_left = std::max(next, frame + 1) - frame;
    std::vector<float> wanted;
    if (is_plan(frame)) wanted = make_plan(frame, next, end);
    const BlockGrid grid = grid_of(camera);
    std::vector<BlockTurn> turns(grid_size(grid.columns, grid.rows));
    for (std::size_t i = 0; i < turns.size(); ++i) {
        const PixelRegion block = block_of(camera, static_cast<int>(i));
        if (pixel_count(block) == 0) continue;
        const std::size_t first = grid_place(block.x0, block.y0, camera.width);
        const float before = frames_wanted()[first];
        const float now = wanted.empty() ? before : wanted[i];
        const auto done = static_cast<std::uint32_t>(frames_done()[first]);
        turns[i] = {done, share_of_frame(done, now, frames_left), now - before};
    }
    return turns;
}

} // namespace mh
