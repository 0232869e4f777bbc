// Photon files: what the photons of a scene left, so that one machine casts for all. They are read
// like any file from elsewhere.
// SPDX-License-Identifier: MIT
#pragma once

#include "pieces/identity.h"

#include <string>

namespace mh {

// Of the pass just done, before the tree is built. Empty on success, else why not.
std::string WritePhotons(const std::string& path, const Identity& identity);

// Whether the file is whole and of this identity: empty, else what is wrong.
std::string CheckPhotons(const std::string& path, const Identity& identity);

// Puts the file's photons in place of a pass. Empty on success; else what is wrong, and there are
// none.
std::string ReadPhotons(const std::string& path, const Identity& identity);

// Whether there is a file of some other kind.
bool IsNoPhotonFile(const std::string& path);

} // namespace mh
