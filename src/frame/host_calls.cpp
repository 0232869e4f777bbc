// Checks of the exported functions.
// SPDX-License-Identifier: MIT
#include "frame/host_calls.h"

#include "integrate/output_images.h"
#include "math/at.h"
#include "output/aov.h"
#include "run/report.h"
#include "run/state.h"

#include <iostream>
#include <new>

namespace mh {

namespace {

bool is_order_kept(const char* call, bool kept) {
    if (!kept && !Progress.is_lost)
        ReportFault(call, HostFault::order, "must come after mhStartup");
    return kept;
}

// Of the exception that is being handled; nothing is allocated.
const char* reason_of_exception() {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return "a lack of memory";
    } catch (...) {
        return "an unexpected fault";
    }
}

} // namespace

void ReportFault(const char* call, HostFault fault, const std::string& text) {
    if (ReportedFaults.emplace(call, fault).second) ReportError(std::string(call) + " - " + text);
}

void EndCall(const char* call) noexcept {
    if (!is_done(Phase::renderer)) ForgetOutputs();
    std::ostream& report = ReportStream == nullptr ? std::cout : *ReportStream;
    report.clear();
    if (!Progress.is_lost)
        report << "error :( \t" << call << " - ended by " << reason_of_exception()
               << "; mhFinalize and mhShutdown end the scene\n"
               << std::flush;
    Progress.is_lost = true;
    Progress.stage = Stage::dissolved;
}

void ForgetFaults() {
    ReportedFaults.clear();
}

bool MayCall(const char* call) {
    return is_order_kept(call, Progress.stage == Stage::open);
}

bool MayFinish(const char* call) {
    if (Progress.stage == Stage::down && Progress.finalized_late) return false;
    return is_order_kept(call, Progress.stage != Stage::down);
}

bool MayBuild(const char* call, Phase phase) {
    if (!MayCall(call)) return false;
    if (is_done(phase)) ReportFault(call, HostFault::order, "must come before mhInitialize");
    return !is_done(phase);
}

bool IsRecord(const char* call, const char* kind, int index, std::size_t count) {
    if (index >= 0 && to_size(index) < count) return true;
    ReportFault(call, HostFault::record,
                std::string("there is no ") + kind + " " + std::to_string(index));
    return false;
}

bool IsGiven(const char* call, const char* name, const void* pointer) {
    if (pointer == nullptr)
        ReportFault(call, HostFault::null_pointer, std::string(name) + " is a null pointer");
    return pointer != nullptr;
}

bool HasValues(const char* call, int count, const void* values) {
    if (count < 0) ReportFault(call, HostFault::count, "count is " + std::to_string(count));
    return count > 0 && IsGiven(call, "the array", values);
}

bool IsAtMost(const char* call, const char* name, int value, int highest) {
    if (value <= highest) return true;
    ReportFault(call, HostFault::value, std::string(name) + " is " + std::to_string(value));
    return false;
}

void SetText(const char* call, const char* text, std::string& field) {
    if (IsGiven(call, "the text", text)) field = text;
}

int AddHostAov(std::vector<Aov>* list) {
    return list != nullptr ? AddAov(*list) : -1;
}

Aov* AovAt(const char* call, std::vector<Aov>* list, int aov) {
    return list != nullptr ? RecordAt(call, *list, "AOV", aov) : nullptr;
}

void SetAovName(const char* call, std::vector<Aov>* list, int aov, const char* name) {
    if (Aov* record = AovAt(call, list, aov)) SetText(call, name, record->image.path);
}

void AddAovChannel(const char* call, std::vector<Aov>* list, int aov, std::uint32_t channel) {
    if (Aov* record = AovAt(call, list, aov)) record->channel |= channel;
}

} // namespace mh
