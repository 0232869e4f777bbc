#!/usr/bin/env python3
"""Makes up whole scenes from the reader's own table of keys, with values that are right, half right
or wrong, and has the program check, render, and resume each. A scene that crashes it, hangs it,
damages a file or cannot be resumed is kept, with the command that showed it.

usage: scenes.py PROGRAM TABLE SECONDS KEEP [SEED]   TABLE: what "mh_words keys" prints
SPDX-License-Identifier: MIT"""
import collections
import json
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time

CORPUS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
BLOCK = 6  # a key's kind; the others are given by their makers below
LONGEST_SECONDS = 60
# What would take time in proportion: lowest and highest value that a scene may ask for.
COSTS = {"resolution": (1, 24), "photon": (0, 2000), "sample": (1, 4), "level": (0, 3),
         "ray_depth": (1, 9), "photon_depth": (1, 9), "bounce": (0, 3)}
ODD = ["nan", "inf", "-1", "1e30", "-1e-30", "x", "", "0x1", "1e", "-0", "99999999999999999999"]
OUTPUTS = ["a.hdr", "b.exr", "c.png", "d.pfm", "e.jpg", "f.tga", "g.xyz", "no/folder.hdr", ""]
STATUSES = {"check": {0, 1}, "render": {0, 1, 3}, "resume": {0, 3}}


def read_table(path):
    table = collections.defaultdict(list)
    with open(path) as file:
        for line in file:
            block, key, kind, count, role, inner, *choices = line.split()
            table[block].append((key, int(kind), int(count), int(role), inner, choices))
    return table


class Maker:
    """One scene; the seed alone decides what it is."""

    def __init__(self, table, seed, folder):
        self.table, self.random, self.folder = table, random.Random(seed), folder
        self.files = {kind: [os.path.join(CORPUS, kind, name)
                             for name in sorted(os.listdir(os.path.join(CORPUS, kind)))]
                      for kind in ("image", "obj", "hair", "fur")}

    def number(self, key, whole):
        draw = self.random.random()
        if draw < 0.02:
            return self.random.choice(ODD)
        if key in COSTS:
            return str(self.random.randint(*COSTS[key]))
        if whole:
            return str(self.random.choice([0, 1, 1, 2, 5]))
        return f"{self.random.choice([0, 1, 0.5, self.random.uniform(-3, 3)]):.4g}"

    def name(self, prefix):
        return f"{prefix}{self.random.randint(0, 4)}"

    def copied(self, kind):
        file = self.random.choice(self.files[kind])
        folder = os.path.join(self.folder, "image" if kind == "image" else "geometry")
        os.makedirs(folder, exist_ok=True)
        shutil.copy(file, folder)
        return os.path.basename(file)

    def mesh(self):
        """Of random triangles, one in eight with a vertex that is not there."""
        vertices, faces, normals, uvs = 6, 8, self.random.randint(0, 1), self.random.randint(0, 1)
        floats = [self.random.uniform(-2, 2) for _ in range(vertices * (3 + 3 * normals + 2 * uvs))]
        corners = [self.random.randrange(vertices) for _ in range(3 * faces)]
        if self.random.random() < 0.125:
            corners[0] = self.random.choice((vertices, 2**32 - 1))
        os.makedirs(os.path.join(self.folder, "geometry"), exist_ok=True)
        with open(os.path.join(self.folder, "geometry/random.mesh"), "wb") as file:
            file.write(b"MHMESH1\n" + struct.pack("<4I", vertices, faces, normals, uvs)
                       + struct.pack(f"<{len(floats)}f", *floats)
                       + struct.pack(f"<{len(corners)}I", *corners))
        return "random.mesh"

    def text(self, key, role, choices):
        if self.random.random() < 0.03:
            return self.random.choice(["", "none", "\xff", 'a"b', "../.."])
        if choices:
            return self.random.choice(choices)
        return {1: lambda: self.name("s"), 3: lambda: self.name("s"), 2: lambda: self.name("o"),
                4: lambda: self.name("o"), 5: lambda: self.copied("image"),
                6: lambda: self.mesh() if key == "mesh" else self.copied(key),
                7: lambda: self.random.choice(OUTPUTS),
                }.get(role, lambda: self.random.choice(["uv", "radius", "a b"]))()

    def line(self, key, kind, count, role, choices):
        if kind == 4:
            return f'{key} "{self.text(key, role, choices)}"'
        if kind == 5:
            return f"{key} {self.text(key, role, choices)}"
        values = [self.number(key, kind < 3) for _ in range(count)]
        if key == "matrix" and self.random.random() < 0.8:  # most can be inverted
            shift = [self.number("", False) for _ in range(3)]
            values = f"1 0 0 {shift[0]} 0 1 0 {shift[1]} 0 0 1 {shift[2]} 0 0 0 1".split()
        return f"{key} {' '.join(values)}"

    def block(self, word, name, depth=0):
        lines = ["    " * depth + word]
        for key, kind, count, role, inner, choices in self.table[name]:
            likely = 0.9 if role in (1, 2) or key in ("obj", "photon", "resolution") else 0.3
            for _ in range(self.random.choice([1, 1, 2]) if kind == BLOCK else 1):
                if self.random.random() > likely / (1 + 0.5 * depth * (kind == BLOCK)):
                    continue
                if kind == BLOCK:
                    lines += self.block(key, inner, depth + 1)
                else:
                    lines.append("    " * (depth + 1) + self.line(key, kind, count, role, choices))
        if self.random.random() > 0.01:
            lines.append("    " * depth + "end")
        return lines

    def write(self):
        counts = {"shader/s": ("shader", 4), "render/r": ("render", 1), "camera/c": ("camera", 2),
                  "light/p": ("point_light", 1), "light/q": ("parallel_light", 1),
                  "light/s": ("sky_light", 1), "light/g": ("geometry_light", 1),
                  "geometry/o": ("object", 4)}
        for file, (word, most) in counts.items():
            lines = []
            for _ in range(self.random.randint(0 if "light/" in file else 1, most)):
                lines += self.block(word, word)
            path = os.path.join(self.folder, file + ".mh")
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="latin-1") as scene:
                scene.write("\n".join(lines) + "\n")

    def overrides(self):
        """Bounds on time, and some of the options that change a scene."""
        options = ["--resolution", "12x9", "--gather", "2", "--bounce", "2"]
        for option in (["--mode", self.random.choice(["path", "gather"])],
                       ["--region", "2,1,9,8"], ["--ray-depth", "3"], ["--beauty", "a.png"]):
            if self.random.random() < 0.2:
                options += option
        return options


def fault_of(step, command, folder):
    """What went wrong, or nothing; and the exit status."""
    try:
        result = subprocess.run(command, cwd=folder, capture_output=True, timeout=LONGEST_SECONDS)
    except subprocess.TimeoutExpired:
        return "hang", None
    text = (result.stdout + result.stderr).decode("latin-1")
    if result.returncode not in STATUSES[step]:
        return f"status {result.returncode}: {text[-300:]}", result.returncode
    if re.search(r"runtime error|AddressSanitizer|LeakSanitizer", text):
        return text[-2000:], result.returncode
    return "", result.returncode


def not_finite(word):
    raise ValueError(word)


def try_scene(program, scene, folder, options):
    """The step that failed and what was wrong with it, or nothing; and whether it was resumed."""
    render = [program, "render", scene, "--progress", "none", "--threads", "2", *options]
    fault, _ = fault_of("check", [program, "check", scene, "--json"], folder)
    if fault:
        return f"check: {fault}", False
    fault, status = fault_of("render", render + ["--sample", "2", "--checkpoint", "c", "--report",
                                                 "r.json"], folder)
    if fault:
        return f"{' '.join(render)}: {fault}", False
    try:
        with open(os.path.join(folder, "r.json")) as file:
            json.load(file, parse_constant=not_finite)
    except (OSError, ValueError) as reason:
        return f"report: {reason}" if status == 0 else "", False
    if not os.path.exists(os.path.join(folder, "c")):
        return "" if status else "no checkpoint", False
    fault, _ = fault_of("resume", render + ["--sample", "3", "--resume", "c"], folder)
    return f"resume: {' '.join(render)}: {fault}" if fault else "", True


def main(program, table, seconds, keep, seed=None):
    program, table = os.path.abspath(program), read_table(table)
    seed = int(seed) if seed else time.time_ns() // 1000000
    end, tried, failed, resumed = time.monotonic() + float(seconds), 0, 0, 0
    while tried == 0 or time.monotonic() < end:
        with tempfile.TemporaryDirectory() as folder:
            scene = os.path.join(folder, "scene")
            maker = Maker(table, seed, scene)
            maker.write()
            fault, done = try_scene(program, scene, folder, maker.overrides())
            resumed += done
            if fault:
                failed += 1
                kept = os.path.join(keep, str(seed))
                shutil.copytree(scene, os.path.join(kept, "scene"), dirs_exist_ok=True)
                with open(os.path.join(kept, "fault"), "w") as file:
                    file.write(fault + "\n")
                print(f"seed {seed}, kept in {kept}: {fault}", flush=True)
        tried, seed = tried + 1, seed + 1
    print(f"{tried} scenes, {resumed} rendered and resumed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
