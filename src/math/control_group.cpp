// Control groups of both versions, by the files under /proc and /sys. In a container only the root
// of a hierarchy may be visible; files that are missing set no limit.
// SPDX-License-Identifier: MIT
#include "math/control_group.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

namespace mh {

std::string SystemRoot;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

void add_with_parents(std::vector<std::string>& folders, const std::string& root,
                      std::string path) {
    for (; path.size() > 1; path.resize(std::min(path.rfind('/'), path.size() - 1)))
        folders.push_back(root + path);
    folders.push_back(root);
}

bool lists(const std::string& controllers, const std::string& resource) {
    std::istringstream stream(controllers);
    for (std::string name; std::getline(stream, name, ',');)
        if (name == resource) return true;
    return false;
}

double quota_of_version_1(const std::string& folder) {
    const double quota = SystemNumber(folder + "/cpu.cfs_quota_us"); // -1 for none
    const double period = SystemNumber(folder + "/cpu.cfs_period_us");
    return quota > 0.0 && period > 0.0 ? quota / period : kInfinity;
}

double quota_of_version_2(const std::string& folder) {
    std::ifstream file(SystemRoot + folder + "/cpu.max");
    double quota = 0.0, period = 0.0;
    return file >> quota >> period && period > 0.0 ? quota / period : kInfinity;
}

} // namespace

double SystemNumber(const std::string& file) {
    double number = 0.0;
    return std::ifstream(SystemRoot + file) >> number ? number : kInfinity;
}

// Lines are "number:controllers:path", of version 2 without controllers.
std::vector<std::string> ControlGroups(const std::string& resource) {
    const std::string mount = "/sys/fs/cgroup";
    std::vector<std::string> folders;
    std::ifstream groups(SystemRoot + "/proc/self/cgroup");
    std::string number, controllers, path;
    while (std::getline(groups, number, ':') && std::getline(groups, controllers, ':')
           && std::getline(groups, path)) {
        if (controllers.empty()) {
            add_with_parents(folders, mount, path);
        } else if (lists(controllers, resource)) {
            add_with_parents(folders, mount + "/" + controllers, path);
            if (controllers != resource) add_with_parents(folders, mount + "/" + resource, path);
        }
    }
    return folders;
}

double ProcessorQuota() {
    double quota = kInfinity;
    for (const std::string& folder : ControlGroups("cpu"))
        quota = std::min({quota, quota_of_version_1(folder), quota_of_version_2(folder)});
    return quota;
}

} // namespace mh
