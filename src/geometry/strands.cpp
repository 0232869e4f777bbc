// Cylinders, parameters and tangents of strands.
// SPDX-License-Identifier: MIT
#include "geometry/strands.h"

#include "geometry/objects.h"
#include "math/roots.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace mh {

namespace {

// First vertices of the strands, and the number of vertices at the end.
std::vector<std::uint32_t> strand_starts(const Part& part) {
    const std::vector<std::uint32_t>& c = part.cylinders;
    std::vector<std::uint32_t> starts = {0};
    for (std::size_t i = 1; i < c.size(); ++i)
        if (c[i - 1] + 1 != c[i]) starts.push_back(c[i]);
    starts.push_back(static_cast<std::uint32_t>(part.positions.size()));
    return starts;
}

// The vertex itself, or the next one above it that is still unwritten; shortens the chain passed.
std::uint32_t next_free(std::vector<std::uint32_t>& next, std::uint32_t vertex) {
    std::uint32_t free = vertex;
    while (next[free] != free)
        free = next[free];
    while (next[vertex] != free)
        vertex = std::exchange(next[vertex], free);
    return free;
}

} // namespace

bool AddStrands(Part& part, const std::vector<std::uint32_t>& segments) {
    const std::uint64_t points = part.positions.size();
    std::uint64_t first = 0;
    for (const std::uint32_t wanted : segments) {
        if (first >= points) return true;
        const auto count =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(wanted, points - first - 1));
        const std::size_t old_size = part.cylinders.size();
        part.cylinders.resize(old_size + count);
        std::iota(part.cylinders.begin() + static_cast<std::ptrdiff_t>(old_size),
                  part.cylinders.end(), static_cast<std::uint32_t>(first));
        part.strand_lengths.push_back(count);
        if (count < wanted) return true;
        first += std::uint64_t{count} + 1;
    }
    return false;
}

// Where strands overlap, which only hosts can make them do, the later one counts. So they are
// written from the last to the first, each vertex once: linear however the cylinders are ordered.
void AddStrandParameters(Part& part) {
    const auto count = static_cast<std::uint32_t>(part.positions.size());
    std::vector<float>& parameter =
        part.scalar_arrays.emplace_back(VertexArray<float>{"parameter", {}}).values;
    parameter.resize(count);
    std::vector<std::uint32_t> next(std::size_t{count} + 1);
    std::iota(next.begin(), next.end(), 0u);
    const std::vector<std::uint32_t> starts = strand_starts(part);
    for (std::size_t k = starts.size() - 1; k > 0; --k) {
        const std::uint32_t first = starts[k - 1], last = starts[k];
        if (last <= first) continue;
        const float scale = static_cast<float>(last - first);
        for (std::uint32_t i = next_free(next, first); i <= last && i < count;
             i = next_free(next, i)) {
            parameter[i] = static_cast<float>(i - first) / scale;
            next[i] = i + 1;
        }
    }
}

void SetRadii(Part& part, float root, float tip) {
    std::vector<float>& values = radii(part);
    values.assign(part.positions.size(), root);
    std::size_t first = 0;
    for (const std::uint32_t segments : part.strand_lengths) {
        for (std::uint32_t i = 1; i <= segments; ++i) {
            const float along = static_cast<float>(i) / static_cast<float>(segments);
            values[first + i] = root + (tip - root) * along;
        }
        first += std::size_t{segments} + 1;
    }
}

std::size_t TangentCount(const Part& part) {
    const std::size_t points = part.positions.size();
    return part.whole_strands ? points : std::min(part.cylinders.size(), points);
}

void AddStrandTangents(Part& part) {
    std::vector<Vec3> sums(part.positions.size());
    for (const std::uint32_t c : part.cylinders) {
        const Vec3 edge = part.positions[c + 1] - part.positions[c];
        sums[c] += edge;
        sums[c + 1] += edge;
    }
    part.tangents.resize(sums.size());
    const std::size_t count = TangentCount(part);
    for (std::size_t i = 0; i < count; ++i)
        part.tangents[i] = pack_unit(sums[i]);
}

} // namespace mh
