// Constants that every folder shares.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

constexpr float kPi = 3.14159265358979f;
constexpr float kTwoPi = 6.28318530717959f;
constexpr float kRadiansPerDegree = 0.017453292f;

// Where a number of [0, 1) would be rounded to 1.
constexpr float kLargestBelowOne = 0.99999994f;

// The largest distance of a ray and the planes of an empty box; its bits are 0x7F7FC99E.
constexpr float kFar = 3.4e38f;

// A colour or throughput channel at or below this counts as nothing: layer activity, path cut-off
// and photon cut-off all use it.
constexpr float kNothing = 1.0f / 1024.0f;

// Two refractive indices closer than this are the same medium.
constexpr float kSameIndex = 1e-8f;

// Per-thread tables have this many slots; teams of threads are never larger.
constexpr int kMaxThreads = 256;

// Whether tables that take long are made coarse, for fuzzers alone.
#ifdef MOONHARE_SMALL_TABLES
constexpr bool kSmallTables = true;
#else
constexpr bool kSmallTables = false;
#endif

} // namespace mh
