// The manual page, from the table of options, as text for scdoc.
// SPDX-License-Identifier: MIT
#include "option_table.h"

#include <string>

namespace mh {

namespace {

// What scdoc would take for a mark is said to be text.
std::string plain(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '*' || c == '_' || c == '\\') escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string manual_of(const OptionRow& row) {
    std::string text = '*' + plain(row.name) + '*';
    if (!is_positional(row) && *row.value != '\0') text += " _" + plain(row.value) + '_';
    return text + "\n\t" + plain(row.help) + ".\n\n";
}

std::string manual_of(const CommandRow& command) {
    std::string text =
        "## moonhare " + std::string(command.name) + "\n\n" + plain(command.help) + ".\n\n";
    for (const OptionRow& row : command.options)
        text += manual_of(row);
    return text;
}

constexpr const char* kOpening = R"(moonhare(1)

# NAME

moonhare - physically based ray tracer

# SYNOPSIS

*moonhare* _SCENE_ [_OPTIONS_]

*moonhare* _COMMAND_ [_ARGUMENTS_] [_OPTIONS_]

# DESCRIPTION

)";

constexpr const char* kClosing = R"(# SIGNALS

*SIGINT*, *SIGTERM*
	End the render; the frame under way may end within half a second. Pictures of the whole frames
	are written. A second one drops the frame at once, a third ends the program.

*SIGXCPU*, *SIGUSR1*, *SIGALRM*
	The same as two of these.

*SIGHUP*
	Writes pictures and checkpoint of the whole frames and goes on.

# EXIT STATUS

*0*
	Done.

*1*
	Faults in the scene, an image that cannot be read or used, or images that differ.

*2*
	Wrong use: options, checkpoints, photons or pieces that do not fit.

*3*
	A file could not be written, or memory ran out.

*130*
	Interrupted, or out of time before the first frame.

# ENVIRONMENT

*OMP\_NUM\_THREADS*
	Number of threads where *--threads* is not given. Without both, as many as affinity and the
	quota of the control group allow.

*MOONHARE\_PROGRAM*
	The program that scripts of *moonhare farm* and the Python packages start, in place of the one
	that they find.

*DISPLAY*
	Where *--preview* opens its window.

# EXAMPLES

A quick look at a scene, as a picture for the screen:

	moonhare room --resolution 320x200 --sample 4++
moonhare convert beauty.hdr beauty.png

An hour of rendering that can be continued:

	moonhare room --sample 4096 --time-limit 3600 --checkpoint room.checkpoint++
moonhare room --sample 4096 --checkpoint room.checkpoint --resume room.checkpoint

Until the relative error is below 1 %, with a picture written every minute:

	moonhare room --sample 4096 --noise 0.01 --write-every 60

Two halves of the frames, on two machines:

	moonhare room --seed 1 --frames 0:128 --partial a.part++
moonhare room --seed 1 --frames 128:256 --partial b.part++
moonhare merge a.part b.part

A scene of a glTF file, and what is wrong with a scene:

	moonhare import model.glb room++
moonhare check room
)";

} // namespace

std::string ManualPage() {
    std::string text = kOpening + plain(kSummary)
                       + " Pictures go to the current directory, the report to standard output,"
                         " progress and errors to standard error.\n\n# COMMANDS\n\n";
    for (const CommandRow& command : Commands())
        text += manual_of(command);
    return text + kClosing;
}

} // namespace mh
