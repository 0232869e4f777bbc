// Exported functions: ends of runs on request, the report and finished pictures for hosts that want
// them in memory.
// SPDX-License-Identifier: MIT
#include "frame/host_calls.h"
#include "frame/kept_report.h"
#include "frame/moonhare.h"
#include "frame/state.h"
#include "math/stop.h"
#include "output/state.h"
#include "run/state.h"

#include <algorithm>

namespace mh {

namespace {

// Before, frames would need the image that is taken.
bool is_rendered(const char* call) {
    if (is_done(Phase::frames)) return true;
    ReportFault(call, HostFault::order, "must come after mhRender");
    return false;
}

Picture* picture_at(const char* call, int picture) {
    return RecordAt(call, Pictures, "picture", picture);
}

// The first slot that is free, or a new one.
int free_picture() {
    const auto slot = std::find_if(Pictures.begin(), Pictures.end(),
                                   [](const Picture& picture) { return !picture.taken; });
    if (slot != Pictures.end()) return static_cast<int>(slot - Pictures.begin());
    Pictures.emplace_back();
    return static_cast<int>(Pictures.size()) - 1;
}

} // namespace

extern "C" {

MH_API void mhRequestStop(void) {
    StopRequested = true;
}

MH_API int mhGetFrameCount(void) {
    return static_cast<int>(__atomic_load_n(&FrameIndex, __ATOMIC_RELAXED));
}

MH_API void mhKeepReport(bool on) try { KeepReport(on); }
MH_CATCH()

MH_API int mhTakeReport(int size, char* text) try {
    return size < 1 || text == nullptr ? 0 : TakeReport(text, size);
}
MH_CATCH(-1)

MH_API int mhTakeCameraAOV(int camera, int aov) try {
    if (!MayFinish(__func__) || !is_rendered(__func__)) return -1;
    Camera* owner = RecordAt(__func__, Cameras, "camera", camera);
    Aov* taken = AovAt(__func__, owner == nullptr ? nullptr : &owner->aovs, aov);
    if (taken == nullptr) return -1;
    Image& image = taken->image;
    if (image.floats.empty()) return -1;
    const std::lock_guard lock(PicturesMutex);
    const int picture = free_picture();
    at(Pictures, picture) = {true, image.width, image.height, std::move(image.floats)};
    image = {}; // without a name, so that nothing of it is written
    return picture;
}
MH_CATCH(-1)

MH_API int mhGetPictureWidth(int picture) try {
    const std::lock_guard lock(PicturesMutex);
    const Picture* found = picture_at(__func__, picture);
    return found == nullptr ? -1 : found->width;
}
MH_CATCH(-1)

MH_API int mhGetPictureHeight(int picture) try {
    const std::lock_guard lock(PicturesMutex);
    const Picture* found = picture_at(__func__, picture);
    return found == nullptr ? -1 : found->height;
}
MH_CATCH(-1)

MH_API const float* mhGetPicturePixels(int picture) try {
    const std::lock_guard lock(PicturesMutex);
    const Picture* found = picture_at(__func__, picture);
    return found == nullptr ? nullptr : found->values.data();
}
MH_CATCH(nullptr)

MH_API void mhFreePicture(int picture) try {
    const std::lock_guard lock(PicturesMutex);
    if (Picture* found = picture_at(__func__, picture)) *found = {};
}
MH_CATCH()

} // extern "C"

} // namespace mh
