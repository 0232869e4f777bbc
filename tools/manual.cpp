// The manual page and the completion of bash, from the table of options.
// SPDX-License-Identifier: MIT
#include "option_table.h"

#include <cstring>
#include <string>

namespace mh {

namespace {

bool is_positional(const OptionRow& row) {
    return row.name[0] != '-';
}

bool takes_file(const OptionRow& row) {
    return std::strcmp(row.value, "FILE") == 0 || std::strcmp(row.value, "DIR") == 0;
}

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

// The words that may follow a command, and the values of those options that list them.
std::string completion_of(const CommandRow& command) {
    std::string words, values;
    for (const OptionRow& row : command.options) {
        if (is_positional(row)) continue;
        words += std::string(row.name) + ' ';
        std::string list;
        for (const std::string& word : choices(row))
            list += word + ' ';
        if (!list.empty())
            values += std::string("    ") + row.name + ") COMPREPLY=($(compgen -W \"" + list
                      + "\" -- \"$word\")); return ;;\n";
        else if (takes_file(row))
            values += std::string("    ") + row.name
                      + ") COMPREPLY=($(compgen -f -- \"$word\")); return ;;\n";
    }
    return std::string("  ") + command.name + ")\n    case $before in\n" + values
           + "    esac\n    words=\"" + words + "--help\" ;;\n";
}

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

std::string BashCompletion() {
    std::string names, cases;
    for (const CommandRow& command : Commands()) {
        names += std::string(command.name) + ' ';
        cases += completion_of(command);
    }
    return "_moonhare() {\n"
           "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} words=\n"
           "  local command=${COMP_WORDS[1]}\n"
           "  [[ \" "
           + names
           + "\" == *\" $command \"* ]] || command=render\n"
             "  case $command in\n"
           + cases
           + "  esac\n"
             "  [[ $COMP_CWORD == 1 ]] && words+=\" --version "
           + names
           + "\"\n"
             "  COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
             "  [[ $word == -* ]] || COMPREPLY+=($(compgen -f -- \"$word\"))\n"
             "}\n"
             "complete -o filenames -F _moonhare moonhare\n";
}

} // namespace mh
