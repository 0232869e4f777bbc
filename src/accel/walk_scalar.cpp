// The walks for every processor.
// SPDX-License-Identifier: MIT
#include "accel/walk_inl.h"

namespace mh {

const WalkKernel kScalarWalks = {"portable", start_nearest<Walk::closest>,
                                 start_nearest<Walk::probe>, start_occluder<Walk::occlude>,
                                 start_occluder<Walk::occlude_log>};

} // namespace mh
