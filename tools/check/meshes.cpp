// One pass over the text of each OBJ file.
// SPDX-License-Identifier: MIT
#include "check/meshes.h"

#include "files.h"
#include "geometry/obj_reader.h"
#include "geometry/objects.h"
#include "math/at.h"
#include "math/count_text.h"
#include "scene/scene_text.h"
#include "shading/shaders.h"

#include <algorithm>
#include <array>

namespace mh {

namespace {

constexpr std::string_view kNumberCharacters = "0123456789+-.eE \t\r";
constexpr std::string_view kFaceCharacters = "0123456789-/ \t\r";

constexpr std::array<bool, 256> table_of(std::string_view characters) {
    std::array<bool, 256> table = {};
    for (const char c : characters)
        table[static_cast<unsigned char>(c)] = true;
    return table;
}

constexpr std::array<bool, 256> kInNumbers = table_of(kNumberCharacters);
constexpr std::array<bool, 256> kInFaces = table_of(kFaceCharacters);

// Lines of one kind: the first of them and how many there are.
struct Spot {
    Place place = {};
    std::int64_t count = 0;
};

struct MeshText {
    SceneCheck& check;
    const PartSource& source;
    std::string path;
    int line_number = 0;
    std::string_view line = {};
    Spot polygons = {}, bad_numbers = {};
    std::set<std::string> materials = {}; // that were reported
};

Place place_in(const MeshText& mesh, std::string_view at) {
    return {mesh.path, mesh.line_number, static_cast<int>(at.data() - mesh.line.data()) + 1,
            std::string(mesh.line)};
}

void add_spot(const MeshText& mesh, Spot& spot, std::string_view at) {
    if (++spot.count == 1) spot.place = place_in(mesh, at);
}

// The first token with a character that is not in the table; empty without one.
std::string_view odd_token(std::string_view rest, const std::array<bool, 256>& table) {
    for (std::string_view token; take_word(rest, token) && !token.starts_with('#');)
        for (const char c : token)
            if (!table[static_cast<unsigned char>(c)]) return token;
    return {};
}

bool holds_only(std::string_view text, const std::array<bool, 256>& table) {
    return std::all_of(text.begin(), text.end(),
                       [&](char c) { return table[static_cast<unsigned char>(c)]; });
}

std::size_t count_words(std::string_view rest) {
    std::size_t count = 0;
    for (std::string_view token; take_word(rest, token) && !token.starts_with('#'); ++count) {
    }
    return count;
}

void check_numbers(MeshText& mesh, std::string_view rest, const std::array<bool, 256>& table) {
    if (holds_only(rest, table)) return;
    const std::string_view odd = odd_token(rest, table);
    if (!odd.empty()) add_spot(mesh, mesh.bad_numbers, odd);
}

void check_face(MeshText& mesh, std::string_view word, std::string_view rest) {
    constexpr std::size_t kMostCorners = 4;
    check_numbers(mesh, rest, kInFaces);
    if (count_words(rest) > kMostCorners && !mesh.source.splits_polygons)
        add_spot(mesh, mesh.polygons, word);
}

void check_material(MeshText& mesh, std::string_view rest) {
    std::string_view word;
    if (!take_word(rest, word)) return;
    const std::string name(word);
    SceneCheck& check = mesh.check;
    const int number = FindNamedShader(name);
    if (check.shaders.contains(name) && number >= 0 && to_size(number) < mesh.source.shaders)
        return;
    if (!mesh.materials.insert(name).second) return;
    if (check.shaders.contains(name))
        add_fault(check.lines, place_in(mesh, word),
                  "shader " + in_quotes(name)
                      + " is defined after this mesh is read, and is not found");
    else
        add_fault(check.lines, place_in(mesh, word), "no shader is named " + in_quotes(name),
                  NearestOf(check, name, check.shaders));
}

void check_line(MeshText& mesh) {
    std::string_view rest = mesh.line, word;
    if (!take_word(rest, word) || word.starts_with('#')) return;
    if (word == "v" || word == "vt" || word == "vn") check_numbers(mesh, rest, kInNumbers);
    if (word == "f") check_face(mesh, word, rest);
    if (word == "usemtl") check_material(mesh, rest);
}

void report(SceneCheck& check, const Spot& spot, const std::string& message) {
    if (spot.count > 0) add_fault(check.lines, spot.place, message);
}

bool take_line(std::string_view& content, std::string_view& line) {
    if (content.empty()) return false;
    const std::size_t end = std::min(content.find('\n'), content.size());
    line = content.substr(0, end);
    content.remove_prefix(std::min(end + 1, content.size()));
    return true;
}

void check_text(MeshText& mesh, std::string_view content) {
    int lines = 1; // of a statement
    for (std::string_view line; take_line(content, line);) {
        std::string joined;
        mesh.line_number += lines;
        for (lines = 1; continues(line); ++lines) {
            joined += line.substr(0, line.rfind('\\'));
            joined += ' ';
            if (!take_line(content, line)) line = {};
        }
        if (!joined.empty()) joined += line;
        mesh.line = joined.empty() ? line : std::string_view(joined);
        check_line(mesh);
    }
    report(mesh.check, mesh.polygons,
           CountText(mesh.polygons.count, "face has", "faces have")
               + " more than 4 corners and are not read: triangulate the mesh, or write "
                 "polygons \"split\" before it");
    report(mesh.check, mesh.bad_numbers,
           CountText(mesh.bad_numbers.count, "line contains", "lines contain")
               + " something that is not a number and is read as 0");
}

} // namespace

void CheckMeshes(SceneCheck& check) {
    std::set<std::string> done;
    const std::vector<PartSource> sources = check.lines.parts;
    for (const PartSource& source : sources) {
        if (source.key != "obj") continue;
        MeshText mesh = {check, source, FindGeometryFile(source.file)};
        std::string content;
        if (done.insert(mesh.path).second && ReadWholeFile(mesh.path, content)
            && ReasonOfNothing(content).empty())
            check_text(mesh, content);
    }
}

} // namespace mh
