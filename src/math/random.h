// Random numbers: pixel jitter, the pixel pattern, picks of layers, texels and emitters. They come
// from the hardware and differ between runs, or, with a seed, from streams that depend on the seed
// and on what is drawn for, never on the thread. What is sampled evenly comes from math/sequence.h.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

// 32 uniform bits. Tests put a replayed source here; set only while no frame runs.
[[gnu::visibility("hidden")]] extern std::uint32_t (*RandomSource)();

// The processor's random instruction, or a thread-safe generator where there is none.
void DrawFromHardware();

// Streams of the seed. Before the first start_stream a thread is in the stream (pattern, 0, 0).
void DrawFromSeed(std::uint64_t seed);

// Whether draws come from a seed; false while a test replays numbers.
bool draws_from_seed();

// What a stream of draws is for.
enum class Stream : std::uint8_t {
    pattern, // the tile of rotations
    pixel,   // frame, pixel
    photon,  // light, number of the photon
    table,   // entry of the geometry light's table
};

// Draw number n of a stream is a function of the stream's key and n alone [Salmon11]. Most streams
// of the exact estimator draw nothing: the key is made for the first number.
struct StreamState {
    std::uint64_t key = 0, drawn = 0;
    std::uint64_t a = 0, b = 0;
    Stream kind = Stream::pattern;
    bool has_key = false;
};

extern constinit thread_local StreamState StreamOfThread;

// From here on this thread draws the numbers of (seed, stream, a, b), from the first on. Without a
// seed nothing is drawn from it.
inline void start_stream(Stream stream, std::uint64_t a, std::uint64_t b) {
    StreamOfThread = {.a = a, .b = b, .kind = stream};
}

// 32 random bits times 2.3283064e-10, in [0, 1): what would round to 1 becomes the largest float
// below it.
float random_unit();

} // namespace mh
