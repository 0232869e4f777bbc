// The form in which an imported scene passes from the helper program to ours: numbers and arrays
// with their lengths, one after the other. The reading side trusts nothing of it.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/imported_scene.h"

#include <cstddef>
#include <functional>
#include <span>

namespace mh {

constexpr std::uint32_t kImportVersion = 1;

// What the helper answers: why there is no scene, or the scene.
struct ImportAnswer {
    std::string fault;
    ImportedScene scene;
};

// Hands over piece after piece; false when one was not taken.
bool WriteAnswer(const ImportAnswer& answer,
                 const std::function<bool(std::span<const std::byte>)>& put);

// False for bytes that are cut or no answer, indices that name nothing, nodes before their parents
// and numbers that are not finite.
bool ReadAnswer(std::span<const std::byte> bytes, ImportAnswer& answer);

} // namespace mh
