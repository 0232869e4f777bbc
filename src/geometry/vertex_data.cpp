// Comparison of vertices by their data.
// SPDX-License-Identifier: MIT
#include "geometry/vertex_data.h"

#include "geometry/weld_table.h"

#include <algorithm>

namespace mh {

namespace {

template<typename T>
bool same_entries(const std::vector<VertexArray<T>>& arrays, std::uint32_t a, std::uint32_t b) {
    return std::all_of(arrays.begin(), arrays.end(), [&](const VertexArray<T>& array) {
        return array.values.empty() || same_value(array.values[a], array.values[b]);
    });
}

template<typename T>
std::uint64_t hash_entries(const std::vector<VertexArray<T>>& arrays, std::uint32_t vertex,
                           std::uint64_t hash) {
    for (const VertexArray<T>& array : arrays)
        if (!array.values.empty()) hash = mix_bits(hash + hash_value(array.values[vertex]));
    return hash;
}

} // namespace

bool same_data(const Part& part, std::uint32_t a, std::uint32_t b) {
    return a == b
           || (same_entries(part.vec2_arrays, a, b) && same_entries(part.scalar_arrays, a, b)
               && same_entries(part.vec3_arrays, a, b));
}

std::uint64_t hash_data(const Part& part, std::uint32_t vertex) {
    std::uint64_t hash = hash_entries(part.vec2_arrays, vertex, 0);
    hash = hash_entries(part.scalar_arrays, vertex, hash);
    return hash_entries(part.vec3_arrays, vertex, hash);
}

} // namespace mh
