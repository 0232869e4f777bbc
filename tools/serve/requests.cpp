// The queue of requests.
// SPDX-License-Identifier: MIT
#include "serve/requests.h"

#include "math/stop.h"
#include "run_control.h"
#include "serve/live_status.h"
#include "serve/live_view.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>

namespace mh {

namespace {

struct Queue {
    std::mutex lock;
    std::condition_variable changed;
    Requests requests;
    int viewers = 0;
    bool cuts = false;
};

Queue queue;

void ask(bool cuts_frame, const std::function<void(Requests& requests)>& act) {
    {
        const std::lock_guard guard(queue.lock);
        act(queue.requests);
        if (cuts_frame && queue.cuts) StopRequested = true;
    }
    queue.changed.notify_all();
}

// A picture that is moved again and again would never be seen if each move cut its first frame.
bool cuts_for_move() {
    const LiveStatus status = StatusNow();
    return status.coarsest == 1 || status.scale < status.coarsest;
}

// A viewer who comes before the first frame would wait for one of full size.
bool shows_nothing_yet() {
    const LiveStatus status = StatusNow();
    return status.stage == LiveStage::rendering && status.scale == 1 && status.frames == 0
           && FirstScale(status.width, status.height) > 1;
}

} // namespace

void MoveLiveCamera(const CameraMove& move) {
    ask(cuts_for_move(), [&](Requests& requests) { requests.moves.push_back(move); });
}

void ResetLiveCamera() {
    ask(true, [](Requests& requests) {
        requests.moves.clear();
        requests.reset_camera = true;
    });
}

void ChooseRegion(const std::optional<PixelRegion>& region) {
    ask(true, [&](Requests& requests) {
        requests.region = region;
        requests.reset_region = !region;
    });
}

void StopFrames() {
    ask(true, [](Requests& requests) { requests.stop = true; });
}

void GoOn() {
    ask(false, [](Requests& requests) { requests.go_on = true; });
}

void WriteNow() {
    ask(false, [](Requests& requests) { requests.write = true; });
}

void Reread(const Json& check) {
    ask(true, [](Requests& requests) { requests.reread = true; });
    UpdateStatus([&](LiveStatus& status) { status.check = check; });
}

void ViewerCame() {
    {
        const std::lock_guard guard(queue.lock);
        ++queue.viewers;
    }
    if (shows_nothing_yet()) ask(true, [](Requests& requests) { requests.begin_again = true; });
}

void ViewerLeft() {
    const std::lock_guard guard(queue.lock);
    --queue.viewers;
}

bool has_viewers() {
    const std::lock_guard guard(queue.lock);
    return queue.viewers > 0;
}

void LetRequestsCut(bool on) {
    const std::lock_guard guard(queue.lock);
    queue.cuts = on;
}

Requests TakeRequests() {
    const std::lock_guard guard(queue.lock);
    if (!is_interrupted()) StopRequested = false;
    return std::exchange(queue.requests, {});
}

bool TakeRequestToWrite() {
    const std::lock_guard guard(queue.lock);
    return std::exchange(queue.requests.write, false);
}

void WaitForRequests(std::chrono::milliseconds time) {
    std::unique_lock guard(queue.lock);
    queue.changed.wait_for(guard, time, [] { return queue.requests.any(); });
}

} // namespace mh
