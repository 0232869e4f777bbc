// Identities of pictures.
// SPDX-License-Identifier: MIT
#include "pieces/identity.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <vector>

namespace mh {

namespace {

// "seed 1" of "seed 1, bounce 2", each as its words.
using Setting = std::vector<std::string>;

std::vector<Setting> settings_of(const std::string& text) {
    std::vector<Setting> settings;
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, ',');) {
        if (!part.starts_with(' ') && !settings.empty()) { // a comma between numbers
            settings.back().back() += ',' + part;
            continue;
        }
        std::istringstream words(part);
        Setting& setting = settings.emplace_back();
        for (std::string word; words >> word;)
            setting.push_back(word);
    }
    return settings;
}

std::string text_of(const Setting& setting, std::size_t first = 0) {
    std::string text;
    for (std::size_t i = first; i < setting.size(); ++i)
        text += (i > first ? " " : "") + setting[i];
    return text;
}

// Leaves what the other has not.
std::vector<Setting> without(std::vector<Setting> settings, const std::vector<Setting>& others) {
    std::erase_if(settings, [&](const Setting& setting) {
        return setting.empty() || std::find(others.begin(), others.end(), setting) != others.end();
    });
    return settings;
}

// How many words name the setting in both: those before the first with a digit that are the same.
std::size_t name_length(const Setting& a, const Setting& b) {
    const auto differs = [](const std::string& x, const std::string& y) {
        return x != y || std::any_of(x.begin(), x.end(), [](unsigned char c) {
                   return std::isdigit(c) != 0;
               });
    };
    std::size_t i = 0;
    while (i < std::min(a.size(), b.size()) && !differs(a[i], b[i]))
        ++i;
    return i;
}

} // namespace

std::string SettingsDifference(const std::string& wanted, const std::string& found,
                               const std::string& before_wanted) {
    std::vector<Setting> missing = without(settings_of(wanted), settings_of(found));
    std::string text;
    const auto add = [&](const std::string& part) { text += (text.empty() ? "" : "; ") + part; };
    for (const Setting& setting : without(settings_of(found), settings_of(wanted))) {
        const auto partner =
            std::find_if(missing.begin(), missing.end(),
                         [&](const Setting& other) { return name_length(setting, other) > 0; });
        if (partner == missing.end()) {
            add("with " + text_of(setting));
            continue;
        }
        add(text_of(setting) + ", " + before_wanted + ' '
            + text_of(*partner, name_length(setting, *partner)));
        missing.erase(partner);
    }
    for (const Setting& setting : missing)
        add("without " + text_of(setting));
    return text;
}

std::string DifferenceFrom(const Identity& wanted, const Identity& found) {
    if (found.program != wanted.program)
        return "was made by moonhare " + found.program + ", not " + wanted.program;
    if (found.scene != wanted.scene) return "is of another scene, or the scene has changed";
    if (found.settings != wanted.settings)
        return "was made with other settings: "
               + SettingsDifference(wanted.settings, found.settings, "not");
    return {};
}

void put(std::string& bytes, const Identity& identity) {
    put_text(bytes, identity.program);
    put(bytes, identity.scene);
    put_text(bytes, identity.settings);
}

void take(Bytes& bytes, Identity& identity) {
    take_text(bytes, identity.program);
    take(bytes, identity.scene);
    take_text(bytes, identity.settings);
}

} // namespace mh
