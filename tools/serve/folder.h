// A folder of pictures in place of a render.
// SPDX-License-Identifier: MIT
#pragma once

#include "serve/web_server.h"

namespace mh {

// Whether it has none of the folders of a scene.
bool IsPictureFolder(const std::string& folder);

// Serves the picture files of the folder until a signal ends it; returns the exit status.
void OpenPictureFolder(const std::string& folder);
int WaitForEnd();

Reply AnswerFolder(const HttpHead& head);

} // namespace mh
