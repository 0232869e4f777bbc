// A 64-bit digest of bytes by XXH3, [Collet12], whose seed is the digest of what came before.
// SPDX-License-Identifier: MIT
#include "math/digest.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace mh {

void add(Digest& digest, std::string_view bytes) {
    digest.value = XXH3_64bits_withSeed(bytes.data(), bytes.size(), digest.value);
}

} // namespace mh
