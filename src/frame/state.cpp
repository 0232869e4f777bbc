// The state of this folder.
// SPDX-License-Identifier: MIT
#include "frame/state.h"

namespace mh {

HostProgress Progress;
std::set<std::pair<std::string, HostFault>> ReportedFaults;
std::vector<Picture> Pictures;
std::mutex PicturesMutex;
std::vector<Image> LightImages;
KeptText KeptReport;
std::ostream KeptStream(&KeptReport);
bool ImageLibraryStarted = false;

} // namespace mh
