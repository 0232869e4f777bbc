// Identities of pictures.
// SPDX-License-Identifier: MIT
#include "pieces/identity.h"

namespace mh {

std::string DifferenceFrom(const Identity& wanted, const Identity& found) {
    if (found.program != wanted.program)
        return "was made by moonhare " + found.program + ", not " + wanted.program;
    if (found.scene != wanted.scene) return "is of another scene, or the scene has changed";
    if (found.settings != wanted.settings)
        return "was made with other settings: " + found.settings + "; not " + wanted.settings;
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
