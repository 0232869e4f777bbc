// Size of the thread teams.
// SPDX-License-Identifier: MIT
#include "math/threads.h"

#include "math/constants.h"

#include <algorithm>

#include <omp.h>

namespace mh {

int team_size() {
    return std::clamp(omp_get_max_threads(), 1, kMaxThreads);
}

int thread_number() {
    return omp_get_thread_num();
}

} // namespace mh
