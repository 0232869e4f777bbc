// Progress of a render on standard error: one bar, a line now and then, or JSON.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace mh {

// form: bar, plain, json, none; empty picks bar on a terminal and plain elsewhere. Reading comes
// first.
void StartProgress(const std::string& form);

bool ShowsBar();

void StartTrees();

// The share of the work of all photons that is done.
void ShowPhotons(double share);

// Before the first frame: how many the pictures hold already, and how many they will hold.
void StartFrames(std::uint32_t first, std::uint32_t frames);

void ShowFrame(std::uint32_t done, std::int64_t rays, double frame_seconds);

// From another thread, again and again: what has moved within a phase.
void ShowWork();

// Leaves the line of the bar.
void EndProgress();

} // namespace mh
