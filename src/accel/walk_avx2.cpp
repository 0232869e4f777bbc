// The walks for processors with AVX2.
// SPDX-License-Identifier: MIT
#include "accel/walk_inl.h"

namespace mh {

const WalkKernel kAvx2Walks = {"AVX2", start_nearest<Walk::closest>, start_nearest<Walk::probe>,
                               start_occluder<Walk::occlude>, start_occluder<Walk::occlude_log>};

} // namespace mh
