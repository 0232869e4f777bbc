// State of a render, kept for pages, and as JSON.
// SPDX-License-Identifier: MIT
#include "serve/live_status.h"

#include "math/memory.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

namespace mh {

namespace {

struct KeptStatus {
    std::mutex lock;
    std::condition_variable changed;
    LiveStatus status;
    std::uint64_t version = 1;
};

KeptStatus kept;

const char* word_of(LiveStage stage) {
    switch (stage) {
    case LiveStage::reading: return "reading";
    case LiveStage::preparing: return "preparing";
    case LiveStage::rendering: return "rendering";
    case LiveStage::stopped: return "stopped";
    case LiveStage::done: return "done";
    }
    std::abort();
}

} // namespace

std::string StatusJson(const LiveStatus& status) {
    const PixelRegion& region = status.region;
    return JsonLine({{"stage", word_of(status.stage)},
                     {"generation", status.generation},
                     {"scale", status.scale},
                     {"frames", status.frames},
                     {"frames_expected", status.frames_expected},
                     {"rays_per_second", status.rays_per_second},
                     {"elapsed_s", status.elapsed_s},
                     {"remaining_s", status.remaining_s},
                     {"noise", status.noise},
                     {"memory_bytes", HeldMemory()},
                     {"width", status.width},
                     {"height", status.height},
                     {"region", {region.x0, region.y0, region.x1, region.y1}},
                     {"scene", status.scene},
                     {"camera", status.camera},
                     {"images", status.images},
                     {"check", status.check},
                     {"message", status.message},
                     {"watches", status.watches},
                     {"keeps_last_good", status.keeps_last_good}});
}

LiveStatus StatusNow() {
    const std::lock_guard guard(kept.lock);
    return kept.status;
}

void UpdateNumbers(const std::function<void(LiveStatus& status)>& act) {
    const std::lock_guard guard(kept.lock);
    act(kept.status);
}

void UpdateStatus(const std::function<void(LiveStatus& status)>& act) {
    {
        const std::lock_guard guard(kept.lock);
        act(kept.status);
        ++kept.version;
    }
    kept.changed.notify_all();
}

void SetStage(LiveStage stage) {
    UpdateStatus([&](LiveStatus& status) { status.stage = stage; });
}

void Say(const std::string& message) {
    UpdateStatus([&](LiveStatus& status) { status.message = message; });
}

std::uint64_t WaitForChange(std::uint64_t version, int milliseconds) {
    std::unique_lock guard(kept.lock);
    kept.changed.wait_for(guard, std::chrono::milliseconds(milliseconds),
                          [&] { return kept.version != version; });
    return kept.version;
}

} // namespace mh
