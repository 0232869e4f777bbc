// Which estimator the run has.
// SPDX-License-Identifier: MIT
#pragma once

#include "run/state.h"

namespace mh {

inline bool is_exact() {
    return RendererSettings.estimator == Estimator::exact;
}

} // namespace mh
