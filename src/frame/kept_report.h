// The report in memory, for hosts whose standard output is not theirs to fill.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// From here on the report is kept, or goes to standard output again.
void KeepReport(bool on);

// Moves the oldest bytes of what is kept to `text`; returns how many. From any thread.
int TakeReport(char* text, int size);

} // namespace mh
