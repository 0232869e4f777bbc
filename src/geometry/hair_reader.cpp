// Reading of hair: binary files with a header of 128 bytes, little-endian arrays behind it, and
// text files of strands.
// SPDX-License-Identifier: MIT
#include "geometry/hair_reader.h"

#include "geometry/line_reader.h"
#include "geometry/objects.h"
#include "geometry/strands.h"
#include "math/at.h"
#include "math/memory.h"
#include "run/report.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <string_view>

namespace mh {

namespace {

static_assert(std::endian::native == std::endian::little, "hair files are read as they stand");

struct HairHeader {
    std::array<char, 4> signature = {};
    std::uint32_t strands = 0;
    std::uint32_t points = 0;
    std::uint32_t flags = 0;
    std::uint32_t segments = 0;    // of every strand without the array
    float thickness = 1.0f;        // of every point without the array
    std::array<float, 4> unused{}; // default transparency and colour
    std::array<char, 88> information = {};
};

static_assert(sizeof(HairHeader) == 128);

// Arrays behind the header, in the order of their flag bits.
enum HairArray : std::uint32_t { segments, points, thickness, transparency, color };

struct HairFile {
    InputFile file;
    std::uint64_t bytes_left = 0;
    HairHeader header;
    std::vector<std::uint16_t> segments;
    std::vector<Vec3> points;
    std::vector<float> thickness;
};

bool present(const HairFile& hair, HairArray array) {
    return (hair.header.flags >> array & 1u) != 0;
}

// Takes bytes off the file's rest; false, before any memory is taken, when there are not as many.
bool claim(HairFile& hair, std::uint64_t bytes) {
    if (bytes > hair.bytes_left) return false;
    hair.bytes_left -= bytes;
    return true;
}

// False when the array is present and comes short.
template<typename T>
bool read_array(HairFile& hair, HairArray array, std::uint32_t count, std::vector<T>& values) {
    if (!present(hair, array)) return true;
    if (!claim(hair, std::uint64_t{count} * sizeof(T))) return false;
    values.resize(count);
    return std::fread(values.data(), sizeof(T), count, hair.file.handle.get()) == count;
}

// An array that is not used, but must be there.
bool skip_array(HairFile& hair, HairArray array, std::uint64_t bytes_per_point) {
    return !present(hair, array) || claim(hair, hair.header.points * bytes_per_point);
}

bool read_header(HairFile& hair) {
    return claim(hair, sizeof(HairHeader))
           && std::fread(&hair.header, sizeof(HairHeader), 1, hair.file.handle.get()) == 1;
}

// What is wrong with the file, or nothing.
std::string read_arrays(HairFile& hair) {
    const HairHeader& header = hair.header;
    if (!read_header(hair)) return "cannot open hair file header ";
    if (std::memcmp(header.signature.data(), "HAIR", header.signature.size()) != 0)
        return "hair file has wrong signature ";
    if (!read_array(hair, HairArray::segments, header.strands, hair.segments))
        return "cannot read hair segments ";
    if (!read_array(hair, HairArray::points, header.points, hair.points) || hair.points.empty())
        return "cannot read hair points ";
    if (!read_array(hair, HairArray::thickness, header.points, hair.thickness))
        return "cannot read hair thickness ";
    if (!skip_array(hair, HairArray::transparency, sizeof(float)))
        return "cannot read hair transparency ";
    if (!skip_array(hair, HairArray::color, sizeof(Vec3))) return "cannot read hair color ";
    return {};
}

void fill_points(Part& part, HairFile& hair) {
    const std::size_t count = hair.points.size();
    const float n = static_cast<float>(count);
    part.positions = std::move(hair.points);
    uvs(part).resize(count);
    radii(part).resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        uvs(part)[i] = {static_cast<float>(i) / n, static_cast<float>(i + 1) / n};
        radii(part)[i] =
            0.5f * (hair.thickness.empty() ? hair.header.thickness : hair.thickness[i]);
    }
}

// Segments per strand. Default strands stop at the first one that lies wholly beyond the points:
// the header's count of strands may be anything.
std::vector<std::uint32_t> segment_counts(const HairFile& hair, std::uint64_t points) {
    if (present(hair, HairArray::segments)) return {hair.segments.begin(), hair.segments.end()};
    const std::uint64_t per_strand = std::uint64_t{hair.header.segments} + 1;
    const std::uint64_t reachable = points / per_strand + 1;
    const auto strands = std::min<std::uint64_t>(hair.header.strands, reachable);
    return std::vector<std::uint32_t>(strands, hair.header.segments);
}

void add_strands(Part& part, const std::vector<std::uint32_t>& segments, const std::string& path) {
    if (AddStrands(part, segments))
        ReportText("hair strands need more points than there are " + path);
}

std::string_view next_word(TextCursor& text) {
    skip_blanks(text);
    const char* const first = text.next;
    while (!at_end(text) && !is_blank(*text.next))
        ++text.next;
    return {first, to_size(text.next - first)};
}

// The next number; other text stops the line, and the rest of it reads as 0.
float next_real(TextCursor& text) {
    skip_blanks(text);
    const char* const first = text.next;
    const float value = read_real(text);
    if (text.next == first) text.next = text.end;
    return value;
}

std::uint32_t next_count(TextCursor& text) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    skip_blanks(text);
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(read_whole(text), 0, kMost));
}

void read_fur_line(Part& part, std::vector<std::uint32_t>& segments, TextCursor text) {
    if (at_end(text) || *text.next == '#') return;
    const std::string_view word = next_word(text);
    if (word == "segment") segments.push_back(next_count(text));
    if (word != "position") return;
    Vec3 p;
    p.x = next_real(text);
    p.y = next_real(text);
    p.z = next_real(text);
    part.positions.push_back(p);
}

// Points are held together with all that is derived from them.
bool fits_memory(const InputFile& file, const std::string& path) {
    constexpr double kCopies = 5.0; // of a file
    if (FitsMemory(kCopies * static_cast<double>(file.size_bytes))) return true;
    ReportText("hair of " + std::to_string(file.size_bytes)
               + " bytes needs more memory than there is " + path);
    return false;
}

} // namespace

void ReadHair(Part& part, const std::string& path) {
    HairFile hair;
    hair.file = OpenInput(path);
    if (!hair.file) return ReportText("cannot open " + path);
    if (!fits_memory(hair.file, path)) return;
    hair.bytes_left = hair.file.size_bytes;
    if (const std::string fault = read_arrays(hair); !fault.empty())
        return ReportText(fault + path);
    const std::vector<std::uint32_t> segments = segment_counts(hair, hair.points.size());
    fill_points(part, hair);
    add_strands(part, segments, path);
}

void ReadFur(Part& part, const std::string& path) {
    constexpr float kRadius = 0.003f; // of all points; the format has none
    LineReader reader;
    reader.file = OpenText(path);
    if (!reader.file || !fits_memory(reader.file, path)) return;
    std::vector<std::uint32_t> segments;
    for (TextCursor line; read_line(reader, line) && !reader.cut;)
        read_fur_line(part, segments, line);
    uvs(part).resize(part.positions.size());
    radii(part).resize(part.positions.size(), kRadius);
    add_strands(part, segments, path);
}

} // namespace mh
