// The command "fmt". Keys move within their block alone, to the order of the tables; comments and
// blank lines stay with the line that they stand before.
// SPDX-License-Identifier: MIT
#include "layout.h"

#include "files.h"
#include "math/at.h"
#include "math/input_file.h"
#include "output/file_writer.h"
#include "scene/blocks.h"
#include "scene/scene_reader.h"
#include "scene/scene_text.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <utility>

namespace mh {

namespace {

namespace fs = std::filesystem;

constexpr int kIndent = 4;

struct Node {
    std::vector<std::string> before = {}; // comments, and empty texts for blank lines
    std::string line = {};
    const Key* key = nullptr;     // null at the top level
    const Block* block = nullptr; // that the line opens
    std::vector<Node> children = {};
    std::vector<std::string> before_end = {};
};

struct Layout {
    SceneText text;
    std::string fault;                // where the file cannot be laid out, and why
    std::vector<std::string> pending; // comments and blank lines that wait for their line
};

std::string_view trimmed(std::string_view line) {
    const std::size_t first = line.find_first_not_of(" \t\v\f\r");
    if (first == line.npos) return {};
    return line.substr(first, line.find_last_not_of(" \t\v\f\r") - first + 1);
}

bool stop(Layout& layout, const std::string& reason) {
    layout.fault = std::to_string(layout.text.line_number) + ": " + reason;
    return false;
}

// The next line with a word; comments and blank lines before it are set aside, of these one in a
// row.
bool next_statement(Layout& layout, std::string_view& statement) {
    std::string_view line;
    while (next_line(layout.text, line)) {
        statement = trimmed(line);
        if (!statement.empty() && statement[0] != '#') return true;
        std::vector<std::string>& pending = layout.pending;
        if (!statement.empty() || (!pending.empty() && !pending.back().empty()) || pending.empty())
            pending.emplace_back(statement);
    }
    return false;
}

std::string_view first_word(std::string_view statement) {
    std::string_view word;
    take_word(statement, word);
    return word;
}

const Key* key_of(const Block& block, std::string_view word) {
    const auto key = std::find_if(block.keys.begin(), block.keys.end(),
                                  [&](const Key& candidate) { return candidate.name == word; });
    return key == block.keys.end() ? nullptr : &*key;
}

Node node_of(Layout& layout, std::string_view statement) {
    return {std::exchange(layout.pending, {}), std::string(statement)};
}

// The keys of objects read files as they come, by what the keys before have named.
bool may_sort(const Block& block) {
    return &block != &kObjectBlock;
}

bool read_children(Layout& layout, Node& parent) {
    const int opened_at = layout.text.line_number;
    for (std::string_view statement; next_statement(layout, statement);) {
        const std::string_view word = first_word(statement);
        if (word == "end") {
            parent.before_end = std::exchange(layout.pending, {});
            if (may_sort(*parent.block))
                std::stable_sort(parent.children.begin(), parent.children.end(),
                                 [](const Node& a, const Node& b) { return a.key < b.key; });
            return true;
        }
        Node& node = parent.children.emplace_back(node_of(layout, statement));
        node.key = key_of(*parent.block, word);
        if (node.key == nullptr)
            return stop(layout, "\"" + parent.line + "\" has no key \"" + std::string(word) + "\"");
        node.block = node.key->block;
        if (node.block != nullptr && !read_children(layout, node)) return false;
    }
    layout.text.line_number = opened_at;
    return stop(layout, "\"" + parent.line + "\" has no \"end\"");
}

bool read_blocks(Layout& layout, std::vector<Node>& blocks) {
    for (std::string_view statement; next_statement(layout, statement);) {
        const std::string_view word = first_word(statement);
        Node& node = blocks.emplace_back(node_of(layout, statement));
        node.block = FindTopBlock(word);
        if (node.block == nullptr)
            return stop(layout, "no block is called \"" + std::string(word) + "\"");
        if (!read_children(layout, node)) return false;
    }
    return layout.text.line_too_long ? stop(layout, "the next line is too long") : true;
}

void print_lines(const std::vector<std::string>& lines, const std::string& indent,
                 std::string& out) {
    for (const std::string& line : lines)
        out += (line.empty() ? "" : indent + line) + '\n';
}

void print_node(const Node& node, int depth, std::string& out) {
    const std::string indent(to_size(depth * kIndent), ' ');
    print_lines(node.before, indent, out);
    out += indent + node.line + '\n';
    if (node.block == nullptr) return;
    for (const Node& child : node.children)
        print_node(child, depth + 1, out);
    print_lines(node.before_end, indent + std::string(kIndent, ' '), out);
    out += indent + "end\n";
}

// The text in its layout; the fault is set where there is none.
std::string laid_out(Layout& layout) {
    std::vector<Node> blocks;
    if (!read_blocks(layout, blocks)) return {};
    std::string out;
    for (const Node& block : blocks)
        print_node(block, 0, out);
    print_lines(layout.pending, "", out);
    out.erase(0, out.find_first_not_of('\n'));
    out.erase(out.find_last_not_of('\n') + 1);
    return out.empty() ? out : out + '\n';
}

int lay_out_file(const std::string& path, bool only_check) {
    std::string before;
    if (!ReadWholeFile(path, before)) {
        Complain(path + " cannot be read");
        return kSceneFaults;
    }
    if (before.find('\0') != before.npos) {
        Complain(path + " holds a zero byte; it stays as it is");
        return kSceneFaults;
    }
    InputFile file = OpenText(path);
    Layout layout = {{ReadRest(file)}, {}, {}};
    const std::string after = laid_out(layout);
    if (!layout.fault.empty()) {
        Complain(path + ':' + layout.fault + "; the file stays as it is");
        return kSceneFaults;
    }
    if (after == before) return kDone;
    std::cout << path << '\n';
    if (only_check) return kSceneFaults;
    const std::string reason = ReplaceFile(path, after);
    if (reason.empty()) return kDone;
    Complain(path + " cannot be written: " + reason);
    return kNotWritten;
}

std::vector<std::string> scene_files(const std::string& scene) {
    std::vector<std::string> files;
    for (const char* folder : {"shader", "render", "light", "camera", "geometry"}) {
        std::error_code error;
        for (fs::directory_iterator entry(fs::path(scene) / folder, error), end;
             !error && entry != end; entry.increment(error))
            if (entry->path().extension() == ".mh") files.push_back(entry->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

int LayOutScene(const Arguments& arguments) {
    if (!IsDirectory(arguments.scene)) return kWrongUse;
    int status = kDone;
    for (const std::string& file : scene_files(arguments.scene))
        status = std::max(status, lay_out_file(file, arguments.only_check));
    return status;
}

} // namespace mh
