// Limits of what inputs of a fuzzer and calls at random may ask for.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh::test {

// Few photons, small pictures, few rays, few cells: a run takes milliseconds.
void KeepSmall();

} // namespace mh::test
