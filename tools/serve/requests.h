// What pages ask of a render. The thread that renders takes it up as soon as it can.
// SPDX-License-Identifier: MIT
#pragma once

#include "json_text.h"
#include "output/types.h"
#include "serve/live_camera.h"

#include <chrono>
#include <optional>
#include <vector>

namespace mh {

struct Requests {
    std::vector<CameraMove> moves;
    std::optional<PixelRegion> region;
    bool reset_camera = false, reset_region = false, begin_again = false;
    bool stop = false, go_on = false, write = false, reread = false;

    bool change_view() const {
        return !moves.empty() || region || reset_camera || reset_region || begin_again;
    }

    bool any() const { return change_view() || stop || go_on || write || reread; }
};

// On any thread.
void MoveLiveCamera(const CameraMove& move);
void ResetLiveCamera();
void ChooseRegion(const std::optional<PixelRegion>& region); // none: that of the scene
void StopFrames();
void GoOn();
void WriteNow();
void Reread(const Json& check); // the scene has changed; what a check finds in it

// Somebody looks on: the first frame of a view is preceded by coarser ones.
void ViewerCame();
void ViewerLeft();
bool has_viewers();

// By the thread that renders: whether requests may cut the frame under way.
void LetRequestsCut(bool on);

// What was asked for since the last call; frames are no longer cut for it.
Requests TakeRequests();
bool TakeRequestToWrite();

// Until something is asked for, or the time has passed.
void WaitForRequests(std::chrono::milliseconds time);

} // namespace mh
