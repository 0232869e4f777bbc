// The console report: every line of it goes through std::cout here.
// SPDX-License-Identifier: MIT
#include "run/report.h"

#include <iomanip>
#include <iostream>
#include <string_view>

namespace mh {

namespace {

constexpr int kFieldWidth = 16;
constexpr int kFloatDigits = 4;
constexpr int kRuleWidth = 80;

// A host may have left the stream in any format: each value sets what it needs. Fixed notation and
// precision stay set, as the width does not.
std::ostream& field() {
    return std::cout << std::right << std::dec << std::setfill(' ') << std::setw(kFieldWidth);
}

void put(float value) {
    std::cout << std::fixed << std::setprecision(kFloatDigits);
    field() << value;
}

void put_unit(const std::string& unit) {
    if (!unit.empty()) std::cout << "[ " << unit << " ]";
}

void end_line() {
    std::cout << '\n' << std::flush;
}

void put_whole_line(const std::string& name, std::int64_t value, const std::string& unit) {
    std::cout << name << ' ';
    field() << value << ' ';
    put_unit(unit);
}

void put_message(std::string_view prefix, const std::string& message) {
    std::cout << prefix << message;
    end_line();
}

} // namespace

void ReportLine(const std::string& name, float value, const std::string& unit) {
    std::cout << name << ' ';
    put(value);
    std::cout << ' ';
    put_unit(unit);
    end_line();
}

void ReportLine(const std::string& name, std::int32_t value, const std::string& unit) {
    put_whole_line(name, value, unit);
    end_line();
}

void ReportLine(const std::string& name, const Vec3& value, const std::string& unit) {
    std::cout << name << ' ';
    put(value.x);
    std::cout << "  ";
    put(value.y);
    std::cout << "  ";
    put(value.z);
    std::cout << ' ';
    put_unit(unit);
    end_line();
}

void ReportCount(const std::string& name, std::int64_t count, double size_bytes) {
    std::cout << name << ' ';
    field() << count << "  ";
    put(static_cast<float>(size_bytes) * kMegabytesPerByte);
    std::cout << ' ';
    put_unit("M bytes");
    end_line();
}

void ReportPair(const std::string& name, float value, const std::string& unit,
                const std::string& second_name, float second_value,
                const std::string& second_unit) {
    std::cout << name << ' ';
    put(value);
    std::cout << ' ';
    put_unit(unit);
    std::cout << second_name << ' ';
    put(second_value);
    std::cout << ' ';
    put_unit(second_unit);
    end_line();
}

void ReportProgress(const std::string& name, std::int32_t value, const std::string& unit,
                    bool last) {
    put_whole_line(name, value, unit);
    std::cout << (last ? '\n' : '\r') << std::flush;
}

void ReportRule() {
    std::cout << std::string(kRuleWidth, '_') << "\n\n" << std::flush;
}

void ReportText(const std::string& text) {
    std::cout << text << '\n';
}

void ReportWarning(const std::string& message) {
    put_message("warning :( \t", message);
}

void ReportError(const std::string& message) {
    put_message("error :( \t", message);
    ReportRule();
}

} // namespace mh
