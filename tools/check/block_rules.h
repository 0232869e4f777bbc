// Rules on a block: who they are for and what they share. Each table is of one folder of the scene.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/blocks.h"
#include "math/vec3.h"

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace mh {

extern const std::span<const BlockRule> kCameraRules, kLightRules, kShaderRules, kObjectRules;

template<typename Record>
const Record& record_of(const ClosedBlock& closed) {
    return *static_cast<const Record*>(closed.record);
}

// Whether a line of the block has the key.
bool gives(const ClosedBlock& closed, std::string_view key);

// Whether the block around it has that name.
bool stands_in(const ClosedBlock& closed, std::string_view block);

bool is_dark(const Vec3& color);

// Whether the extension is one of these, in small letters.
bool ends_with(const std::string& path, std::initializer_list<const char*> extensions);

// Two vectors that span no plane; false where one has no length.
bool are_parallel(const Vec3& a, const Vec3& b);

} // namespace mh
