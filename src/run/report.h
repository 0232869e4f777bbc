// The console report: a column-aligned table of measured quantities on std::cout, in sections
// separated by rules. Names carry their own trailing blanks; call from the main thread only.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace mh {

// "name value [ unit ]": the value right-aligned in 16 columns, floats with 4 digits. An empty
// unit prints no brackets. Flushes.
void ReportLine(const std::string& name, float value, const std::string& unit);
void ReportLine(const std::string& name, std::int32_t value, const std::string& unit);
void ReportLine(const std::string& name, const Vec3& value, const std::string& unit);

// "name count  megabytes [ M bytes ]", the size given in bytes.
void ReportCount(const std::string& name, std::int64_t count, double size_bytes);

// Two measured values on one line.
void ReportPair(const std::string& name, float value, const std::string& unit,
                const std::string& second_name, float second_value, const std::string& second_unit);

// A progress line: printed over by the next one when `last` is false.
void ReportProgress(const std::string& name, std::int32_t value, const std::string& unit,
                    bool last);

// 80 underscores and an empty line.
void ReportRule();

// The text and an end of line, no flush.
void ReportText(const std::string& text);

// "warning :( \t" and the message; no rule.
void ReportWarning(const std::string& message);

// "error :( \t", the message and a rule. The run goes on.
void ReportError(const std::string& message);

constexpr float kMegabytesPerByte = 9.536743e-7f; // 1 / 2^20

} // namespace mh
