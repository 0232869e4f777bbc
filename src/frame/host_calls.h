// What every exported function checks before it acts: the order of calls, record numbers, pointers,
// counts and values. A check that fails reports it once per call, kind of fault and run.
// SPDX-License-Identifier: MIT
#pragma once

#include "frame/state.h"
#include "math/at.h"
#include "output/types.h"

#include <cstdint>
#include <string>
#include <vector>

namespace mh {

constexpr std::uint32_t bit_of(Phase phase) {
    return 1u << static_cast<unsigned>(phase);
}

inline bool is_done(Phase phase) {
    return (Progress.done & bit_of(phase)) != 0;
}

// An error line that names the call, unless this run has printed it before.
void ReportFault(const char* call, HostFault fault, const std::string& text);

// What ends an exported function by an exception: no memory, as a rule. One line is reported, and
// all calls do nothing until mhFinalize and mhShutdown have run. A picture that no frame has filled
// is not written by them.
void EndCall(const char* call) noexcept;

// Closes the try block that is the body of an exported function; holds what the function returns.
#define MH_CATCH(...)                                                                              \
    catch (...) {                                                                                  \
        EndCall(__func__);                                                                         \
        return __VA_ARGS__;                                                                        \
    }

// From here on every fault is reported again; at the start of a run.
void ForgetFaults();

// Between mhStartup and the end of the scene.
bool MayCall(const char* call);

// Between mhStartup and mhShutdown.
bool MayFinish(const char* call);

// The same, and the phase that completes what is being built hasn't run.
bool MayBuild(const char* call, Phase phase);

bool IsRecord(const char* call, const char* kind, int index, std::size_t count);

// Record number `index`, or null when there is none.
template<typename T>
T* RecordAt(const char* call, std::vector<T>& records, const char* kind, int index) {
    if (!IsRecord(call, kind, index, records.size())) return nullptr;
    return &at(records, index);
}

bool IsGiven(const char* call, const char* name, const void* pointer);

// Whether there is something to append: a count above 0 and its values.
bool HasValues(const char* call, int count, const void* values);

bool IsAtMost(const char* call, const char* name, int value, int highest);

// Stores a text; null changes nothing.
void SetText(const char* call, const char* text, std::string& field);

// The calls on output images, for all owners; `list` is null when the owner was refused.
int AddHostAov(std::vector<Aov>* list);
void SetAovName(const char* call, std::vector<Aov>* list, int aov, const char* name);
void AddAovChannel(const char* call, std::vector<Aov>* list, int aov, std::uint32_t channel);
Aov* AovAt(const char* call, std::vector<Aov>* list, int aov);

} // namespace mh
