"""Names that scene text and every file system take.
SPDX-License-Identifier: MIT"""
import re

LONGEST = 64  # characters
UNSAFE = re.compile(r"[^A-Za-z0-9._-]")


class Names:
    """Hands out each name once: what is wanted, with other characters than letters, digits, - _ and
    . as _, and with a number where it is taken. Case does not tell two names apart, as on some
    disks."""

    def __init__(self, *taken):
        self._next = {name.lower(): 1 for name in taken}

    def unique(self, wanted, other="unnamed", ending=""):
        safe = UNSAFE.sub("_", wanted)[:LONGEST]
        if not safe.strip("_."):
            safe = other
        if safe[0] == ".":
            safe = "_" + safe[1:]
        name = safe + ending
        while name.lower() in self._next:
            number = self._next[(safe + ending).lower()]
            self._next[(safe + ending).lower()] = number + 1
            name = f"{safe}_{number}{ending}"
        self._next[name.lower()] = 1
        return name
