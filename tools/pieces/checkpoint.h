// Checkpoints: the images of a render between two frames, with what tells whether they belong to
// the scene at hand. The layout is that of this machine; check sums guard it, and images are
// compressed.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/fixed_point.h"

#include <cstdint>
#include <string>
#include <vector>

namespace mh {

// As it is read.
struct SavedImage {
    std::int32_t width = 0, height = 0, channels = 0;
    std::vector<float> values;
    std::vector<FixedPoint> sums; // with a seed, in place of the values
};

struct Checkpoint {
    std::uint32_t frames = 0;
    std::int32_t sample = 1; // frames of the whole run, of which sums hold their shares
    std::uint64_t scene = 0; // SceneDigest
    std::string settings;    // SettingsText
    std::vector<SavedImage>
        images; // in the order of ForEachOutput, without those that are complete
};

// What changes a picture and may be set by options; not the number of frames.
std::string SettingsText();

// The images as they stand after FrameIndex frames. Each empty on success, else what is wrong.
std::string WriteCheckpoint(const std::string& path, std::uint64_t scene);
std::string ReadCheckpoint(const std::string& path, Checkpoint& checkpoint);

// Puts them back: sums become shares of the camera's number of frames, bit for bit the same when
// that number is. False when the images differ in number or size.
bool RestoreImages(const Checkpoint& checkpoint);

} // namespace mh
