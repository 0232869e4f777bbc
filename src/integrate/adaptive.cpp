// The plan of frames: errors fall less and less with each set of points, so that what is left is
// least where each next set goes to the block in which a ray takes away most [Fox66].
// SPDX-License-Identifier: MIT
#include "integrate/adaptive.h"

#include "integrate/frame_order.h"
#include "integrate/noise.h"
#include "math/at.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/state.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <vector>

namespace mh {

namespace {

constexpr float kLeast = 0.125f, kMost = kMostRounds; // frames of a block, of the mean

// Frames of the run: those of a piece alone.
std::uint32_t frames_of_run(const Camera& camera) {
    return std::min(static_cast<std::uint32_t>(camera.sample), Hooks.end_frame) - Hooks.begin_frame;
}

// Plans are made at these frames: the first shared one, and where a quarter has been added.
std::uint32_t next_plan(std::uint32_t frame) {
    std::uint32_t plan = kFirstSet;
    while (plan <= frame)
        plan += std::max(plan / 4, 2u);
    return plan;
}

bool is_plan(std::uint32_t frame) {
    return frame == kFirstSet || (frame > kFirstSet && next_plan(frame - 1) == frame);
}

bool has_target() {
    return RendererSettings.noise > 0.0f;
}

// Error of a block after so many frames, where one leaves 1. That of whole sets of even points
// falls by n^-1.05 in hair to n^-1.4 on smooth surfaces. What follows the last whole set is a
// smaller one beside it.
double error_after(float frames) {
    constexpr double kSteepness = 1.2;
    const auto whole = static_cast<float>(std::bit_floor(static_cast<std::uint32_t>(frames)));
    const auto squares = [](float n) { return std::pow(static_cast<double>(n), 2.0 - kSteepness); };
    return (squares(whole) + squares(frames - whole)) / static_cast<double>(frames * frames);
}

// What frames are shared out by.
struct Block {
    float frames = 0.0f; // of each pixel
    double rays = 0.0;   // of one frame
    double error = 0.0;  // seen, of all its pixels together, after one frame
    float enough = 0.0f; // frames that reach the target
};

using Parts = std::array<float, 2>; // weights of the parts of a block's pixels; 1 together

// A little below the target.
float enough_for_target(const BlockNoise& block) {
    constexpr float kBelow = 0.95f;
    const float missing = block.error / (kBelow * RendererSettings.noise);
    return block.frames * missing * missing;
}

Block block_from(const BlockNoise& noise, const Parts& parts) {
    if (!(noise.pixels > 0.0f)) return {};
    const auto pixels = static_cast<double>(noise.pixels);
    const double seen = static_cast<double>(parts[0] * noise.seen[0] + parts[1] * noise.seen[1]);
    return {noise.frames, pixels * static_cast<double>(noise.rays),
            pixels * seen / error_after(noise.frames),
            has_target() ? enough_for_target(noise) : 0.0f};
}

// Error and wanted frames are at least the mean of the 3 x 3 blocks, since a rare contribution may
// not have shown up in this block yet. Errors are compared by what they are worth a ray.
std::vector<Block> blocks_of(const std::vector<BlockNoise>& noise, const BlockGrid& grid,
                             const Parts& parts) {
    std::vector<Block> own(noise.size());
    std::transform(noise.begin(), noise.end(), own.begin(),
                   [&](const BlockNoise& block) { return block_from(block, parts); });
    std::vector<Block> blocks = own;
    for (int i = 0; i < grid.columns * grid.rows; ++i) {
        const int column = i % grid.columns, row = i / grid.columns;
        double worth = 0.0, enough = 0.0, count = 0.0;
        for (int y = std::max(row - 1, 0); y <= std::min(row + 1, grid.rows - 1); ++y)
            for (int x = std::max(column - 1, 0); x <= std::min(column + 1, grid.columns - 1);
                 ++x) {
                const Block& other = own[grid_place(x, y, grid.columns)];
                if (!(other.rays > 0.0)) continue;
                worth += std::sqrt(other.error / other.rays);
                enough += static_cast<double>(other.enough);
                ++count;
            }
        if (count == 0.0) continue;
        Block& block = blocks[to_size(i)];
        block.error = std::max(block.error, worth / count * (worth / count) * block.rays);
        block.enough = std::max(block.enough, static_cast<float>(enough / count));
    }
    return blocks;
}

// A block that goes on to the end of its set.
struct Step {
    std::size_t block = 0;
    float frames = 0.0f; // that it has then
    double rays = 0.0;   // that this takes
    double gain = 0.0;   // error a ray
};

Step step_of(const std::vector<Block>& blocks, std::size_t i, float frames) {
    const Block& block = blocks[i];
    const float next = static_cast<float>(std::bit_floor(static_cast<std::uint32_t>(frames))) * 2;
    const double rays = block.rays * static_cast<double>(next - frames);
    const double left = error_after(frames) - error_after(next);
    return {i, next, rays, block.error * left / rays};
}

double rays_beyond(const std::vector<Block>& blocks, const std::vector<float>& frames) {
    double sum = 0.0;
    for (std::size_t i = 0; i < blocks.size(); ++i)
        sum += blocks[i].rays * static_cast<double>(frames[i] - blocks[i].frames);
    return sum;
}

// Rays that are left to a run of so many frames.
double rays_left(const std::vector<Block>& blocks, float mean) {
    return rays_beyond(blocks, std::vector<float>(blocks.size(), mean));
}

float to_even(float frames) {
    return 2.0f * std::round(0.5f * frames); // as many odd as even ones
}

// Set by set to where a ray takes away most, as long as no more rays are cast than by so many even
// frames. The plan of fewer frames is a part of that of more, so that few sets are left unfinished.
std::vector<float> frames_by_gain(const std::vector<Block>& blocks, float mean, float end) {
    const auto least =
        static_cast<float>(std::bit_floor(static_cast<std::uint32_t>(kLeast * mean)));
    std::vector<float> frames(blocks.size());
    std::vector<Step> steps;
    const auto less = [](const Step& a, const Step& b) { return a.gain < b.gain; };
    const auto offer = [&](std::size_t i) {
        const Step step = step_of(blocks, i, frames[i]);
        if (!(step.gain > 0.0) || step.frames > kMost * end) return;
        steps.push_back(step);
        std::push_heap(steps.begin(), steps.end(), less);
    };
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        frames[i] = std::max(blocks[i].frames, least);
        if (blocks[i].rays > 0.0) offer(i);
    }
    double left = rays_left(blocks, mean) - rays_beyond(blocks, frames);
    while (left > 0.0 && !steps.empty()) {
        std::pop_heap(steps.begin(), steps.end(), less);
        const Step step = steps.back();
        steps.pop_back();
        const auto part = static_cast<float>(std::min(left / step.rays, 1.0));
        float& now = frames[step.block];
        now = part < 1.0f ? to_even(now + part * (step.frames - now)) : step.frames;
        left -= step.rays;
        if (left > 0.0) offer(step.block);
    }
    return frames;
}

// Towards a target: an equal part of what each lacks.
std::vector<float> frames_to_target(const std::vector<Block>& blocks, float mean, float end) {
    std::vector<float> frames(blocks.size());
    std::transform(blocks.begin(), blocks.end(), frames.begin(), [&](const Block& block) {
        return std::max(std::clamp(block.enough, kLeast * end, kMost * end), block.frames);
    });
    const double lacking = rays_beyond(blocks, frames);
    const double left = std::max(rays_left(blocks, mean), 0.0);
    const auto part = static_cast<float>(lacking > left ? left / lacking : 1.0);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const float now = blocks[i].frames;
        frames[i] = std::max(to_even(now + part * (frames[i] - now)), now);
    }
    return frames;
}

// Whether unequal frames leave less error in the end. What some of the pixels ask for is judged by
// the errors of the others, so that blocks that differ by chance alone speak against it.
bool is_worth_it(const std::vector<BlockNoise>& noise, const BlockGrid& grid, float end) {
    const std::array<std::vector<Block>, 2> of_part = {blocks_of(noise, grid, {1.0f, 0.0f}),
                                                       blocks_of(noise, grid, {0.0f, 1.0f})};
    double even = 0.0, unequal = 0.0;
    for (const std::size_t part : {0u, 1u}) {
        const std::vector<float> frames = frames_by_gain(of_part[1 - part], end, end);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            if (!(noise[i].pixels > 0.0f)) continue;
            const double error = static_cast<double>(noise[i].pixels * noise[i].seen[part]);
            even += error * error_after(end);
            unequal += error * error_after(frames[i]);
        }
    }
    return unequal < even;
}

// By frame `next` of `end`. The first plan decides for all.
std::vector<float> make_plan(std::uint32_t frame, std::uint32_t next, std::uint32_t end) {
    const std::vector<BlockNoise> noise = MeasureBlocks();
    const BlockGrid grid = grid_of(*ActiveCamera());
    const auto frames = static_cast<float>(frame), of_run = static_cast<float>(end);
    const bool begun = std::any_of(noise.begin(), noise.end(), [&](const BlockNoise& block) {
        return block.pixels > 0.0f && block.frames != frames;
    });
    const bool shares = frame == kFirstSet ? is_worth_it(noise, grid, of_run) : begun;
    if (!shares && !has_target()) return std::vector<float>(noise.size(), static_cast<float>(next));
    const std::vector<Block> blocks = blocks_of(noise, grid, {0.5f, 0.5f});
    const auto mean = static_cast<float>(next);
    return has_target() ? frames_to_target(blocks, mean, of_run)
                        : frames_by_gain(blocks, mean, of_run);
}

// How many paths a pixel takes in this frame, of those that it lacks.
std::uint32_t share_of_frame(std::uint32_t done, float wanted, std::uint32_t frames_left) {
    const auto all = static_cast<std::uint32_t>(std::max(wanted, 0.0f));
    return all <= done ? 0 : (all - done + frames_left - 1) / frames_left;
}

} // namespace

bool is_shared_out(std::uint32_t frame) {
    return RendererSettings.adaptive && keeps_planes() && frame >= Hooks.begin_frame + kFirstSet;
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
