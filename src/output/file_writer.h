// Files that appear whole or not at all.
// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace mh {

// Writes beside the target, syncs and renames; a link is followed. Empty on success, otherwise why
// the older file was kept. Of several processes that write the same file, one writes at a time.
std::string ReplaceFile(const std::string& path, std::string_view content);

// The same with a content of several parts.
std::string ReplaceFile(const std::string& path, std::span<const std::string_view> parts);

// Whether a file could be written there, without a trace: empty, or why not.
std::string TryFile(const std::string& path);

} // namespace mh
