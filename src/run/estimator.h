// Which estimator and which mode the run has, and whether its random numbers come from a seed.
// SPDX-License-Identifier: MIT
#pragma once

#include "run/state.h"

namespace mh {

inline bool is_exact() {
    return RendererSettings.estimator == Estimator::exact;
}

// Settings alone tell, before the numbers are chosen: the exact estimator has a seed in any case.
inline bool is_seeded() {
    return RendererSettings.seed >= 0 || is_exact();
}

// Whether the settings choose final gathering; paths are traced otherwise.
inline bool chooses_gathering() {
    return RendererSettings.distance > 0.0f && RendererSettings.resolution > 0.0f;
}

} // namespace mh
