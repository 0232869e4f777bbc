// The console report: every line of it is written here.
// SPDX-License-Identifier: MIT
#include "run/report.h"

#include "run/state.h"

#include <iomanip>
#include <iostream>
#include <string_view>

namespace mh {

namespace {

constexpr int kFieldWidth = 16;
constexpr int kFloatDigits = 4;
constexpr int kRuleWidth = 80;

std::ostream& out() {
    return ReportStream == nullptr ? std::cout : *ReportStream;
}

// A host may have left the stream in any format: each value sets what it needs. Fixed notation and
// precision stay set, as the width does not.
std::ostream& field() {
    return out() << std::right << std::dec << std::setfill(' ') << std::setw(kFieldWidth);
}

void put(float value) {
    out() << std::fixed << std::setprecision(kFloatDigits);
    field() << value;
}

void put_unit(const std::string& unit) {
    if (!unit.empty()) out() << "[ " << unit << " ]";
}

void end_line() {
    out() << '\n' << std::flush;
}

void put_whole_line(const std::string& name, std::int64_t value, const std::string& unit) {
    out() << name << ' ';
    field() << value << ' ';
    put_unit(unit);
}

void put_message(std::string_view prefix, const std::string& message) {
    out() << prefix << message;
    end_line();
}

} // namespace

void ReportLine(const std::string& name, float value, const std::string& unit) {
    out() << name << ' ';
    put(value);
    out() << ' ';
    put_unit(unit);
    end_line();
}

void ReportLine(const std::string& name, std::int32_t value, const std::string& unit) {
    put_whole_line(name, value, unit);
    end_line();
}

void ReportLine(const std::string& name, const Vec3& value, const std::string& unit) {
    out() << name << ' ';
    put(value.x);
    out() << "  ";
    put(value.y);
    out() << "  ";
    put(value.z);
    out() << ' ';
    put_unit(unit);
    end_line();
}

void ReportCount(const std::string& name, std::int64_t count, double size_bytes) {
    out() << name << ' ';
    field() << count << "  ";
    put(static_cast<float>(size_bytes) * kMegabytesPerByte);
    out() << ' ';
    put_unit("M bytes");
    end_line();
}

void ReportPair(const std::string& name, float value, const std::string& unit,
                const std::string& second_name, float second_value,
                const std::string& second_unit) {
    out() << name << ' ';
    put(value);
    out() << ' ';
    put_unit(unit);
    out() << second_name << ' ';
    put(second_value);
    out() << ' ';
    put_unit(second_unit);
    end_line();
}

void ReportProgress(const std::string& name, std::int32_t value, const std::string& unit,
                    bool last) {
    put_whole_line(name, value, unit);
    out() << (last ? '\n' : '\r') << std::flush;
}

void ReportRule() {
    out() << std::string(kRuleWidth, '_') << "\n\n" << std::flush;
}

void ReportText(const std::string& text) {
    out() << text << '\n';
}

void ReportWarning(const std::string& message) {
    put_message("warning :( \t", message);
}

void ReportError(const std::string& message) {
    put_message("error :( \t", message);
    ReportRule();
}

} // namespace mh
