// The manual page, from the table of options.
// SPDX-License-Identifier: MIT
#include "option_table.h"

#include <string>

namespace mh {

namespace {

// Dashes that a reader may copy.
std::string roff(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '-' || c == '\\') escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string manual_of(const CommandRow& command) {
    std::string text = ".SS moonhare ";
    text += command.name;
    text += '\n' + roff(command.help) + ".\n";
    for (const OptionRow& row : command.options) {
        text += ".TP\n.B " + roff(row.name);
        if (!is_positional(row) && *row.value != '\0') text += " \\fI" + roff(row.value) + "\\fR";
        text += '\n' + roff(row.help) + ".\n";
    }
    return text;
}

constexpr const char* kClosing = R"(.SH SIGNALS
SIGINT and SIGTERM end the render after the frame under way; its pictures are written. A second one
ends it at once. SIGHUP writes the pictures and goes on.
.SH EXIT STATUS
0 done; 1 faults in the scene, or images that differ; 2 wrong use; 3 a file could not be written,
or memory ran out; 130 interrupted.
)";

} // namespace

std::string ManualPage() {
    std::string text =
        ".TH MOONHARE 1\n.SH NAME\nmoonhare \\- physically based ray tracer\n"
        ".SH SYNOPSIS\n.B moonhare\n[\\fICOMMAND\\fR] \\fISCENE\\fR [\\fIOPTIONS\\fR]\n"
        ".SH DESCRIPTION\n";
    text += roff(kSummary);
    text +=
        "\nPictures go to the current directory, the report to standard output.\n.SH COMMANDS\n";
    for (const CommandRow& command : Commands())
        text += manual_of(command);
    return text + kClosing;
}

} // namespace mh
