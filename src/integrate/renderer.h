// Start and end of the renderer: mode, photons, estimators.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// Defaults of the settings that a new run starts with.
void ResetRenderer();

// Phase 8: clamps settings, decides the mode, casts photons, builds the photon tree; reports.
void InitializeRenderer();

void FinalizeRenderer();

} // namespace mh
