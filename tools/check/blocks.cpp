// What the tables of rules on blocks share, and their use.
// SPDX-License-Identifier: MIT
#include "check/blocks.h"

#include "check/block_rules.h"
#include "files.h"
#include "math/roots.h"
#include "scene/blocks.h"
#include "shading/types.h"

#include <algorithm>

namespace mh {

bool gives(const ClosedBlock& closed, std::string_view key) {
    return find_given(closed.block, key) != nullptr;
}

bool stands_in(const ClosedBlock& closed, std::string_view block) {
    return closed.outer != nullptr && closed.outer->block->name == block;
}

bool is_dark(const Vec3& color) {
    return !(max_channel(color) > 0.0f);
}

bool are_parallel(const Vec3& a, const Vec3& b) {
    constexpr float kSmallestSine = 1e-4f; // below it a frame made of the two is noise
    return length(a) > 0.0f && length(b) > 0.0f
           && !(length(cross(normalize(a), normalize(b))) > kSmallestSine);
}

bool ends_with(const std::string& path, std::initializer_list<const char*> extensions) {
    const std::string found = ExtensionOf(path);
    return std::find(extensions.begin(), extensions.end(), found) != extensions.end();
}

namespace {

// Of a slot; empty for other blocks.
std::string image_of(const ClosedBlock& closed) {
    const bool is_slot = closed.block.block->name == std::string_view("slot");
    return is_slot ? record_of<ShaderElement>(closed).image : std::string();
}

Place place_of(const OpenBlock& block, const char* key) {
    const GivenKey* given = key == nullptr ? nullptr : find_given(block, key);
    if (given == nullptr) return block.place;
    return {block.place.file, given->line_number,
            static_cast<int>(given->word.data() - given->line.data()) + 1,
            std::string(given->line)};
}

void apply(SceneLines& lines, const BlockRule& rule, const ClosedBlock& closed) {
    if (closed.block.block->name != std::string_view(rule.block) || !rule.applies(closed)) return;
    Place place = place_of(closed.block, rule.key);
    if (rule.when == When::always)
        lines.faults.push_back({std::move(place), rule.message, {}, rule.severity});
    else
        lines.doubts.push_back({&rule, std::move(place), image_of(closed)});
}

} // namespace

void CheckBlock(SceneLines& lines, const ReadNote& note) {
    const OpenBlock& block = lines.open.back();
    if (note.record == nullptr) return;
    const OpenBlock* outer = lines.open.size() > 1 ? &lines.open[lines.open.size() - 2] : nullptr;
    for (const auto& rules : {kCameraRules, kLightRules, kShaderRules, kObjectRules})
        for (const BlockRule& rule : rules)
            apply(lines, rule, {block, outer, note.record});
    if (block.block != &kShaderBlock) return;
    for (std::size_t i = block.first_doubt; i < lines.doubts.size(); ++i)
        if (lines.doubts[i].subject.empty())
            lines.doubts[i].subject = static_cast<const Shader*>(note.record)->name;
}

} // namespace mh
