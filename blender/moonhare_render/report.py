"""What a render or export could not show, as lines of the console and of the text "moonhare
report".
SPDX-License-Identifier: MIT"""
import bpy

TEXT_NAME = "moonhare report"
LONGEST = 200  # characters of a line
MOST_LINES = 200


class Report:
    """Lines, each once. Errors end a render; notes say what looks different."""

    def __init__(self):
        self.errors, self.notes, self.facts = [], [], []

    def error(self, line):
        self._add(self.errors, line)

    def note(self, line):
        self._add(self.notes, line)

    def fact(self, line):
        self._add(self.facts, line)

    @staticmethod
    def _add(lines, line):
        line = " ".join(str(line).split())[:LONGEST]
        if line not in lines and len(lines) < MOST_LINES:
            lines.append(line)

    def text(self):
        lines = [f"error: {line}" for line in self.errors]
        lines += [f"note: {line}" for line in self.notes] + self.facts
        return "\n".join(lines) + "\n"

    def publish(self):
        """Prints the lines and keeps them for show(), which may not run while a render is going
        on."""
        global latest
        latest = self.text()
        print("".join(f"moonhare: {line}\n" for line in latest.splitlines()), end="", flush=True)


latest = None


@bpy.app.handlers.persistent
def show(*_):
    """Puts the latest report into the text block."""
    global latest
    if latest is None:
        return
    text = bpy.data.texts.get(TEXT_NAME) or bpy.data.texts.new(TEXT_NAME)
    text.clear()
    text.write(latest)
    latest = None


def handlers():
    return (bpy.app.handlers.render_complete, bpy.app.handlers.render_cancel)


def register():
    for handler in handlers():
        handler.append(show)


def unregister():
    for handler in handlers():
        if show in handler:
            handler.remove(show)
