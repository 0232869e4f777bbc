// A stream of the report that a host takes piece by piece.
// SPDX-License-Identifier: MIT
#include "frame/kept_report.h"

#include "frame/state.h"
#include "math/at.h"
#include "run/state.h"

#include <algorithm>
#include <ostream>

namespace mh {

KeptText::int_type KeptText::overflow(int_type c) {
    const std::lock_guard lock(mutex);
    if (c != traits_type::eof()) text += static_cast<char>(c);
    return 0;
}

std::streamsize KeptText::xsputn(const char* from, std::streamsize count) {
    const std::lock_guard lock(mutex);
    text.append(from, to_size(count));
    return count;
}

void KeepReport(bool on) {
    ReportStream = on ? &KeptStream : nullptr;
}

int TakeReport(char* text, int size) {
    const std::lock_guard lock(KeptReport.mutex);
    const std::size_t count = std::min(KeptReport.text.size(), to_size(size));
    std::copy_n(KeptReport.text.data(), count, text);
    KeptReport.text.erase(0, count);
    return static_cast<int>(count);
}

} // namespace mh
