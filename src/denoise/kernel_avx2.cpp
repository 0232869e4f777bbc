// The filter's kernels for processors with AVX2.
// SPDX-License-Identifier: MIT
#include "denoise/prefilter_inl.h"
#include "denoise/regression_inl.h"

namespace mh {

const DenoiseKernel kAvx2Denoise = {"AVX2", regress_tile, prefilter_tile};

} // namespace mh
