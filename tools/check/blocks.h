// Rules on a block once all of it is read.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/scene_lines.h"

namespace mh {

// When a rule counts: for most the block alone says so.
enum class When : std::uint8_t {
    always,
    gathering,       // photons are gathered
    lamps_sampled,   // the geometry light takes samples
    lamps_unsampled, // it takes none, but casts photons
    on_surfaces,     // no hair uses the shader
    wide_pixels,     // the slot's image has 16 bits a channel
};

struct ClosedBlock {
    const OpenBlock& block;
    const OpenBlock* outer; // null at the top level
    const void* record;
};

struct BlockRule {
    const char* block; // its name in the table of keys
    const char* key;   // the line to point at, where it is given; null: the block's first
    Severity severity;
    When when;
    bool (*applies)(const ClosedBlock& closed);
    const char* message;
};

// The innermost open block ends here. Faults that hang on the scene as a whole become doubts.
void CheckBlock(SceneLines& lines, const ReadNote& note);

} // namespace mh
