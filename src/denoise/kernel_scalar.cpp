// The filter's kernels for every processor.
// SPDX-License-Identifier: MIT
#include "denoise/prefilter_inl.h"
#include "denoise/regression_inl.h"

namespace mh {

const DenoiseKernel kScalarDenoise = {"portable", regress_tile, prefilter_tile};

} // namespace mh
