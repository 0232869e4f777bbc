// Reading of Wavefront OBJ text. Quads stay quads only when flat and rectangular; others are split.
// SPDX-License-Identifier: MIT
#include "geometry/obj_reader.h"

#include "geometry/line_reader.h"
#include "geometry/polygon.h"
#include "math/at.h"
#include "math/memory.h"
#include "math/roots.h"
#include "run/report.h"
#include "shading/shaders.h"

#include <algorithm>
#include <cstring>

namespace mh {

namespace {

constexpr int kMostCorners = 8;                  // read of a face line
constexpr std::size_t kMostSplit = 1024;         // corners of a polygon that is split
constexpr std::size_t kLongestStatement = 65536; // of lines that continue each other
constexpr std::size_t kLinesOfCheck = 65536;     // of memory

// State of one file.
struct ObjFile {
    MeshLoader& loader;
    std::size_t first_position = 0, first_uv = 0, first_normal = 0; // of the pools at the start
    std::int32_t shader = 0;
};

struct Polygon {
    std::array<LoaderCorner, kMostCorners> corner;
    int count = 0;
};

constexpr bool ends_token(char c) {
    return c == '/' || is_blank(c);
}

void skip_token(TextCursor& text) {
    while (!at_end(text) && !ends_token(*text.next))
        ++text.next;
}

float next_real(TextCursor& text) {
    skip_blanks(text);
    const float value = read_real(text);
    skip_token(text);
    return value;
}

Vec3 next_vec3(TextCursor text) {
    const float x = next_real(text);
    const float y = next_real(text);
    const float z = next_real(text);
    return {x, y, z};
}

Vec2 next_vec2(TextCursor text) {
    const float x = next_real(text);
    const float y = next_real(text);
    return {x, y};
}

// Indices count from 1 at the start of the file, or back from the end of the pool; 0 is not an
// index.
std::uint32_t next_index(TextCursor& text, std::size_t first, std::size_t size) {
    const std::int64_t value = read_whole(text);
    skip_token(text);
    if (value == 0) return kAbsent;
    const auto base = static_cast<std::int64_t>(value > 0 ? first : size);
    const std::int64_t index = value > 0 ? base + value - 1 : base + value;
    return index < 0 || index >= kAbsent ? kAbsent : static_cast<std::uint32_t>(index);
}

bool skip_slash(TextCursor& text) {
    if (at_end(text) || *text.next != '/') return false;
    ++text.next;
    return true;
}

// p, p/t, p/t/n or p//n
LoaderCorner next_corner(const ObjFile& file, TextCursor& text) {
    const MeshLoader& loader = file.loader;
    LoaderCorner corner;
    corner.position = next_index(text, file.first_position, loader.positions.size());
    if (!skip_slash(text)) return corner;
    corner.uv = next_index(text, file.first_uv, loader.uvs.size());
    if (!skip_slash(text)) return corner;
    corner.normal = next_index(text, file.first_normal, loader.normals.size());
    return corner;
}

// After three corners a zero, or a word that is not a number, such as a comment, ends the face.
bool has_corner(TextCursor text, int count) {
    if (at_end(text) || count == kMostCorners) return false;
    return count < 3 || read_whole(text) != 0;
}

Polygon read_polygon(const ObjFile& file, TextCursor text) {
    Polygon polygon;
    skip_blanks(text);
    while (has_corner(text, polygon.count)) {
        at(polygon.corner, polygon.count++) = next_corner(file, text);
        skip_blanks(text);
    }
    return polygon;
}

void warn_once(bool& warned, const std::string& message) {
    if (warned) return;
    warned = true;
    ReportWarning(message);
    ReportRule();
}

void add_triangle(ObjFile& file, const Polygon& polygon, std::array<std::size_t, 3> corners) {
    LoaderFace& face = file.loader.triangles.emplace_back();
    for (std::size_t i = 0; i < 3; ++i)
        face.corner[i] = polygon.corner[corners[i]];
    face.shader = file.shader;
}

void add_tetragon(ObjFile& file, const Polygon& polygon) {
    LoaderFace& face = file.loader.tetragons.emplace_back();
    for (std::size_t i = 0; i < 4; ++i)
        face.corner[i] = polygon.corner[i];
    face.shader = file.shader;
}

// Adds the triangle that is left of a quad with two equal positions; false if it has none.
bool add_degenerate(ObjFile& file, const Polygon& polygon) {
    const auto same = [&](std::size_t a, std::size_t b) {
        return polygon.corner[a].position == polygon.corner[b].position;
    };
    if (same(2, 3) || same(1, 3) || same(0, 3)) {
        add_triangle(file, polygon, {0, 1, 2});
    } else if (same(1, 2) || same(0, 2)) {
        add_triangle(file, polygon, {0, 1, 3});
    } else if (same(0, 1)) {
        add_triangle(file, polygon, {0, 2, 3});
    } else {
        return false;
    }
    return true;
}

// Positions that come later in the file are not known yet: such a quad is split.
bool is_rectangle(const std::vector<Vec3>& positions, const Polygon& polygon) {
    constexpr float kFlat = 0.999999f; // cosine between the normals of both halves
    constexpr float kRight = 1e-6f;    // cosine between neighbouring edges
    std::array<Vec3, 4> p, e;
    for (std::size_t i = 0; i < 4; ++i) {
        if (polygon.corner[i].position >= positions.size()) return false;
        p[i] = positions[polygon.corner[i].position];
    }
    for (std::size_t i = 0; i < 4; ++i)
        e[i] = normalize(p[(i + 1) % 4] - p[i]);
    for (std::size_t i = 0; i < 4; ++i)
        if (!(std::fabs(dot(e[i], e[(i + 1) % 4])) < kRight)) return false;
    return dot(normalize(cross(e[0], e[1])), normalize(cross(e[2], e[3]))) > kFlat;
}

void add_quad(ObjFile& file, const Polygon& polygon) {
    if (add_degenerate(file, polygon))
        return warn_once(file.loader.warned_degenerate,
                         "object - there are degenerated quadrangles");
    if (is_rectangle(file.loader.positions, polygon)) return add_tetragon(file, polygon);
    add_triangle(file, polygon, {0, 1, 2});
    add_triangle(file, polygon, {2, 3, 0});
    file.loader.triangles.back().is_second_half = true;
}

// False where a corner has no position yet, or there are too many corners.
bool add_split(ObjFile& file, TextCursor text) {
    std::vector<LoaderCorner> corners;
    std::vector<Vec3> points;
    skip_blanks(text);
    for (; has_corner(text, std::min<int>(3, static_cast<int>(corners.size())));
         skip_blanks(text)) {
        corners.push_back(next_corner(file, text));
        const std::uint32_t position = corners.back().position;
        if (position >= file.loader.positions.size() || corners.size() > kMostSplit) return false;
        points.push_back(file.loader.positions[position]);
    }
    for (const PolygonTriangle& triangle : SplitPolygon(points)) {
        LoaderFace& face = file.loader.triangles.emplace_back();
        for (std::size_t i = 0; i < 3; ++i)
            face.corner[i] = corners[triangle[i]];
        face.shader = file.shader;
    }
    return true;
}

void add_face(ObjFile& file, const TextCursor& text) {
    const Polygon polygon = read_polygon(file, text);
    if (polygon.count < 3) return;
    if (polygon.count == 3) return add_triangle(file, polygon, {0, 1, 2});
    if (polygon.count == 4) return add_quad(file, polygon);
    if (file.loader.splits_polygons && add_split(file, text)) return;
    warn_once(file.loader.warned_polygons,
              "object - please triangulate/quadrangulate the input model(s)");
}

// The second word of the line.
std::string second_word(TextCursor text) {
    const auto is_space = [](char c) { return is_blank(c) || c == '\v' || c == '\f'; };
    while (!at_end(text) && !is_space(*text.next))
        ++text.next;
    while (!at_end(text) && is_space(*text.next))
        ++text.next;
    const char* const first = text.next;
    while (!at_end(text) && !is_space(*text.next))
        ++text.next;
    return std::string(first, text.next);
}

// Whether the line is the keyword and a blank; moves past both.
bool skip_keyword(TextCursor& text, const char* keyword, std::ptrdiff_t size) {
    if (text.end - text.next <= size || std::memcmp(text.next, keyword, size_t(size)) != 0)
        return false;
    if (text.next[size] != ' ' && text.next[size] != '\t') return false;
    text.next += size + 1;
    return true;
}

void read_statement(ObjFile& file, TextCursor text) {
    constexpr std::ptrdiff_t kMaterialWord = 6;
    MeshLoader& loader = file.loader;
    while (!at_end(text) && (*text.next == ' ' || *text.next == '\t'))
        ++text.next;
    if (at_end(text)) return;
    switch (*text.next) {
    case 'f':
        if (skip_keyword(text, "f", 1)) add_face(file, text);
        return;
    case 'u':
        if (text.end - text.next >= kMaterialWord
            && std::memcmp(text.next, "usemtl", kMaterialWord) == 0)
            file.shader = FindShader(second_word(text));
        return;
    case 'v':
        if (skip_keyword(text, "v", 1))
            loader.positions.push_back(next_vec3(text));
        else if (skip_keyword(text, "vn", 2))
            loader.normals.push_back(next_vec3(text));
        else if (skip_keyword(text, "vt", 2))
            loader.uvs.push_back(next_vec2(text));
        return;
    default: return;
    }
}

template<typename T>
double bytes_of(const std::vector<T>& pool) {
    return static_cast<double>(pool.capacity() * sizeof(T));
}

// What is held already is held twice more at most: a pool that grows moves to one of twice its
// size, and the part that is assembled is smaller than its pools.
bool may_grow(const MeshLoader& loader) {
    constexpr double kMost = 2.0;
    return FitsMemory(kMost
                      * (bytes_of(loader.positions) + bytes_of(loader.normals)
                         + bytes_of(loader.uvs) + bytes_of(loader.triangles)
                         + bytes_of(loader.tetragons)));
}

std::string_view view_of(const TextCursor& line) {
    return {line.next, to_size(line.end - line.next)};
}

// A line, or the lines that continue each other joined by blanks.
bool read_whole_line(LineReader& reader, std::string& joined, TextCursor& line) {
    if (!read_line(reader, line)) return false;
    if (!continues(view_of(line))) return true;
    joined.clear();
    for (bool more = true; more && joined.size() < kLongestStatement;) {
        more = continues(view_of(line));
        joined += view_of(line).substr(0, view_of(line).rfind(more ? '\\' : '\0'));
        joined += ' ';
        more = more && read_line(reader, line);
    }
    line = {joined.data(), joined.data() + joined.size()};
    return true;
}

std::string start_of(const std::string& path) {
    constexpr std::size_t kStart = 4096;
    InputFile file = OpenText(path);
    std::string start(kStart, '\0');
    start.resize(file ? std::fread(start.data(), 1, kStart, file.handle.get()) : 0);
    return start;
}

} // namespace

std::string ReasonOfNothing(std::string_view start) {
    if (start.empty()) return ": it is empty";
    if (start.starts_with("\x1f\x8b")) return ": it is packed by gzip";
    if (start.starts_with("\xff\xfe") || start.starts_with("\xfe\xff"))
        return ": it is UTF-16 text";
    if (start.find('\n') == start.npos && start.find('\r') != start.npos)
        return ": its lines end in CR alone";
    return {};
}

bool continues(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line.ends_with('\\') && line.find_first_not_of(" \t") != line.find('#');
}

void ReadObj(MeshLoader& loader, const std::string& path) {
    LineReader reader;
    reader.file = OpenText(path);
    if (!reader.file) return ReportError("object - cannot open " + path);
    loader.path = path;
    ObjFile file = {loader, loader.positions.size(), loader.uvs.size(), loader.normals.size()};
    const std::size_t faces = loader.triangles.size() + loader.tetragons.size();
    std::size_t lines = 0;
    std::string joined;
    for (TextCursor line; read_whole_line(reader, joined, line); ++lines) {
        if (lines % kLinesOfCheck == kLinesOfCheck - 1 && !may_grow(loader))
            return ReportError("object - " + path
                               + " needs more memory than there is; it is read up to line "
                               + std::to_string(lines));
        read_statement(file, line);
    }
    if (loader.triangles.size() + loader.tetragons.size() > faces || loader.warned_polygons) return;
    ReportWarning("object - " + path + " gives no faces" + ReasonOfNothing(start_of(path)));
    ReportRule();
}

} // namespace mh
