"""The library's report: its faults as exceptions and warnings, its lines as values.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import ctypes
import re
import warnings

from .. import functions as mh

ERROR, WARNING = "error :( \t", "warning :( \t"
NUMBER = r"-?(?:\d+(?:\.\d+)?|inf|nan)"
VALUE = re.compile(rf"(\S.*?)\s+((?:{NUMBER}\s+)+)\[ (.*?) \]")

Value = float | tuple[float, ...]


class Error(RuntimeError):
    """What the library refused or could not do, in its words."""


class Cancelled(Error):
    """A render that was ended before its first frame was done."""


class SceneWarning(UserWarning):
    """What the library did otherwise than asked, in its words."""


def take_text() -> str:
    """What the library has reported since the last call."""
    buffer = ctypes.create_string_buffer(1 << 16)
    pieces = []
    while count := mh._library.mhTakeReport(len(buffer), buffer):
        pieces.append(buffer.raw[:count])
    return b"".join(pieces).decode(errors="replace")


class Report:
    """Text that comes piece by piece; a fault in it is raised once."""

    def __init__(self) -> None:
        self.text = ""
        self.seen = 0

    def check(self, hint: int = 2) -> None:
        """Raises the first error since the last check, and warns of each warning."""
        self.text += take_text()
        lines = self.text[self.seen:].splitlines()
        self.seen = len(self.text)
        for line in lines:
            if line.startswith(WARNING):
                warnings.warn(line.removeprefix(WARNING), SceneWarning, stacklevel=hint)
        for line in lines:
            if line.startswith(ERROR):
                raise Error(line.removeprefix(ERROR).strip())

    def values(self) -> dict[str, Value]:
        """Names and numbers of the report's lines; of a name that repeats the last one counts."""
        values: dict[str, Value] = {}
        for line in re.split(r"[\r\n]", self.text):
            for name, numbers, _ in VALUE.findall(line):
                found = tuple(float(number) for number in numbers.split())
                values[name.strip()] = found[0] if len(found) == 1 else found
        return values
