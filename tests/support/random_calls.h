// Exported functions in any order with any arguments, drawn from a generator of random numbers or
// from the bytes of a fuzzer's input.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh::test {

// A number below the limit, which is at least 1.
using ChoiceSource = unsigned (*)(unsigned limit);

// Where functions and arguments come from until the next call.
void DrawFrom(ChoiceSource source);

// Draws what the arrays hold that calls hand over.
void FillArrays();

// A call of one function, after KeepSmall.
void CallStart();      // mhStartup, with a camera
void CallInitialize(); // mhInitialize
void CallToBuild();    // some mhAdd... or mhSet...
void CallPhase();      // some phase, or mhStartup or mhShutdown

} // namespace mh::test
