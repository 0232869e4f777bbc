// Size of the thread teams: what OpenMP offers, capped by the slots of the per-thread tables.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// min(omp_get_max_threads(), 256); every parallel region asks for this many.
int team_size();

// Number of the calling thread within its team, 0 outside of one.
int thread_number();

} // namespace mh
