// Start and end of the renderer: mode, photons, estimators.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// Depths, samples and mode at their defaults, statistics at 0. What the user chose of distance,
// resolution, bounce and clamp stays until the next startup.
void ResetRenderer();

// What frames of traced paths need, whatever the mode will be, when no photon has been cast yet.
void PrepareForPaths();

// Phase 8: clamps settings, decides the mode, casts photons, builds the photon tree; reports.
void InitializeRenderer();

// Reports the values that were not finite. Forgets the photons, and resets the radius and what
// ResetRenderer does.
void FinalizeRenderer();

} // namespace mh
