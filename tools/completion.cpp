// Completion of shells, from the table of options.
// SPDX-License-Identifier: MIT
#include "option_table.h"

#include <algorithm>
#include <string>

namespace mh {

namespace {

bool takes_file(const OptionRow& row) {
    const std::string_view value = row.value;
    return value == "FILE" || value == "DIR";
}

std::string choice_list(const OptionRow& row) {
    std::string list;
    for (const std::string& word : choices(row))
        list += (list.empty() ? "" : " ") + word;
    return list;
}

// The words that may follow a command, and the values of those options that list them.
std::string bash_case_of(const CommandRow& command) {
    std::string words, values;
    for (const OptionRow& row : command.options) {
        if (is_positional(row)) continue;
        words += std::string(row.name) + ' ';
        const std::string list = choice_list(row);
        const std::string reply = !list.empty()     ? "-W \"" + list + "\""
                                  : takes_file(row) ? "-f"
                                                    : "";
        if (!reply.empty())
            values += std::string("    ") + row.name + ") COMPREPLY=($(compgen " + reply
                      + " -- \"$word\")); return ;;\n";
    }
    return std::string("  ") + command.name + ")\n    case $before in\n" + values
           + "    esac\n    words=\"" + words + "--help\" ;;\n";
}

std::string bash_completion() {
    std::string names, cases;
    for (const CommandRow& command : Commands()) {
        names += std::string(command.name) + ' ';
        cases += bash_case_of(command);
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

// Text between single quotes, which a quote ends and opens again.
std::string quotable(const std::string& text) {
    std::string escaped;
    for (const char c : text)
        escaped += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return escaped;
}

// The same where brackets and colons part the fields.
std::string zsh_text(const std::string& text) {
    std::string escaped;
    for (const char c : quotable(text))
        escaped += std::string(c == '[' || c == ']' || c == ':' ? "\\" : "") + c;
    return escaped;
}

std::string zsh_case_of(const CommandRow& command) {
    std::string text = std::string("    ") + command.name + ")\n      _arguments";
    for (const OptionRow& row : command.options) {
        if (is_positional(row)) continue;
        text += std::string(" \\\n        '") + row.name + '[' + zsh_text(row.help) + ']';
        const std::string list = choice_list(row);
        if (!list.empty())
            text += ":value:(" + list + ')';
        else if (*row.value != '\0')
            text += ':' + zsh_text(row.value) + ':' + (takes_file(row) ? "_files" : "");
        text += '\'';
    }
    return text + " \\\n        '--help[Print help]' '*:file:_files' ;;\n";
}

std::string zsh_completion() {
    std::string names, cases;
    for (const CommandRow& command : Commands()) {
        names += std::string("      '") + command.name + ':' + zsh_text(command.help) + "'\n";
        cases += zsh_case_of(command);
    }
    return "#compdef moonhare\n"
           "_moonhare() {\n"
           "  local command=${words[2]}\n"
           "  local -a commands=(\n"
           + names
           + "  )\n"
             "  if (( CURRENT == 2 )); then\n"
             "    [[ $PREFIX == -* ]] || _describe command commands\n"
             "    [[ $PREFIX == -* ]] || _files\n"
             "  fi\n"
             "  (( ${commands[(I)$command:*]} )) && { shift words; (( CURRENT-- )) } || "
             "command=render\n"
             "  case $command in\n"
           + cases
           + "  esac\n"
             "}\n"
             "compdef _moonhare moonhare 2>/dev/null || _moonhare \"$@\"\n";
}

std::string fish_completion() {
    std::string names, lines;
    for (const CommandRow& command : Commands())
        names += std::string(names.empty() ? "" : " ") + command.name;
    for (const CommandRow& command : Commands()) {
        const std::string name = command.name;
        lines += "complete -c moonhare -n __fish_use_subcommand -a " + name + " -d '"
                 + quotable(command.help) + "'\n";
        const std::string condition =
            command.command == Command::render
                ? "not __fish_seen_subcommand_from "
                      + names.substr(names.find(' ') + 1) // render may be left out
                : "__fish_seen_subcommand_from " + name;
        for (const OptionRow& row : command.options) {
            if (is_positional(row)) continue;
            const std::string list = choice_list(row);
            lines += "complete -c moonhare -n '" + condition + "' -l " + (row.name + 2) + " -d '"
                     + quotable(row.help) + '\'';
            if (!list.empty())
                lines += " -x -a '" + list + '\'';
            else if (*row.value != '\0')
                lines += takes_file(row) ? " -r" : " -x";
            lines += '\n';
        }
    }
    return lines;
}

} // namespace

std::string Completion(const std::string& shell) {
    if (shell == "zsh") return zsh_completion();
    return shell == "fish" ? fish_completion() : bash_completion();
}

} // namespace mh
