#!/usr/bin/env python3
"""Changes one operator, constant or condition of the library at a time and runs the tests.

usage: mutate.py ROOT BUILD COUNT [SEED]
       mutate.py ROOT BUILD again LIST
BUILD is a finished release build of the tree ROOT; neither may change meanwhile. COUNT changes are
tried, at places spread evenly over the folders of src, or those that survived in LIST, an earlier
run's output. Only the objects that contain the change are compiled and linked in front of the
library. Tests of less than half a second come first, those of the folder before the others; the
first that fails ends it, and a change that none notices survives. What does not compile or leaves
the machine code as it was ("trivial compiler equivalence", Papadakis et al. 2015) is drawn again.
Prints a line for each change and the score, and exits with 1 when that is below 90 %. The changes
are Offutt's set ("sufficient mutation operators", Offutt et al. 1996), as far as text without a
parser allows.
"""
import collections
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

WANTED = 0.9
SWAPS = [(" < ", " <= "), (" <= ", " < "), (" > ", " >= "), (" >= ", " > "), (" == ", " != "),
         (" != ", " == "), (" + ", " - "), (" - ", " + "), (" * ", " / "), (" / ", " * "),
         (" && ", " || "), (" || ", " && "), (" += ", " -= "), (" -= ", " += "), (" *= ", " /= "),
         ("std::min(", "std::max("), ("std::max(", "std::min("), ("true", "false"),
         ("false", "true"), ("(!", "("), ("0.0f", "1.0f"), ("1.0f", "0.0f"), ("0.5f", "0.25f"),
         ("2.0f", "3.0f"), ("++", "--"), (" % ", " / "), (" & ", " | "), (" | ", " & ")]
TEXT = re.compile(r'"(?:[^"\\]|\\.)*"|//.*')
# Lines on which a change means nothing, or nothing but speed.
PASSED_OVER = re.compile(r"^\s*(#|//|using|template|static_assert|namespace|friend|assert"
                         r"|__builtin_prefetch|case .*abort)")
LISTED = re.compile(r"SURVIVED ([^:]+):(\d+):(\d+): (\S+) became (\S+)")
QUICK_S, BUILD_S = 0.5, 600
Place = collections.namedtuple("Place", "file line column old new")


def blank(match):
    return " " * len(match[0])


def places(file):
    """Everything that can be changed in a source."""
    for number, line in enumerate(file.read_text().split("\n")):
        if PASSED_OVER.match(line):
            continue
        code = TEXT.sub(blank, line)
        for old, new in SWAPS:
            for match in re.finditer(re.escape(old), code):
                yield Place(file, number, match.start(), old, new)


def changed(place):
    lines = place.file.read_text().split("\n")
    line, end = lines[place.line], place.column + len(place.old)
    if line[place.column:end] != place.old:
        sys.exit(f"{place.file}:{place.line + 1} has changed since")
    lines[place.line] = line[:place.column] + place.new + line[end:]
    return "\n".join(lines)


def quiet(command, seconds, cwd):
    """Whether it ends well in time; a program that hangs has been noticed too."""
    try:
        return subprocess.run(command, cwd=cwd, timeout=seconds, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def output(*command, cwd):
    return subprocess.run(command, cwd=cwd, check=True, capture_output=True, text=True).stdout


class Folder:
    """The test program of a folder: how it is linked, and how long its tests take."""

    def __init__(self, name, build, scratch):
        self.cwd, self.program = build / "tests" / name, scratch / "tests" / name / f"{name}_tests"
        self.program.parent.mkdir(parents=True)
        last = output("ninja", "-t", "commands", f"{name}_tests", cwd=build).splitlines()[-1]
        link = shlex.split(last.split(" && ")[1])
        link[link.index("-o") + 1] = str(self.program)
        self.link = link + ["-Wl,--strip-all"] + ["-fuse-ld=lld"] * bool(shutil.which("ld.lld"))
        report = scratch / f"{name}.json"
        self.linked([], build)
        if not quiet([self.program, f"--gtest_output=json:{report}"], BUILD_S, self.cwd):
            sys.exit(f"the tree does not pass the tests of {name} as it is")
        self.seconds = {f"{suite['name']}.{test['name']}": float(test["time"][:-1])
                        for suite in json.loads(report.read_text())["testsuites"]
                        for test in suite["testsuite"]}

    def linked(self, objects, build):
        library = next(index for index, word in enumerate(self.link) if word.endswith(".a"))
        subprocess.run(self.link[:library] + objects + self.link[library:], cwd=build, check=True)

    def passes(self, quick):
        tests = [name for name, time in self.seconds.items() if (time < QUICK_S) == quick]
        seconds = 20 + 5 * sum(self.seconds[name] for name in tests)
        return not tests or quiet(
            [self.program, "--gtest_brief=1", "--gtest_fail_fast",
             "--gtest_filter=" + ":".join(tests)], seconds, self.cwd)


class Tree:
    def __init__(self, root, build, scratch):
        self.root, self.build, self.scratch = root, build, scratch
        self.commands = {pathlib.Path(entry["file"]): shlex.split(entry["command"])
                         for entry in json.loads((build / "compile_commands.json").read_text())}
        self.unchanged = {}
        # Where the programs look for the helper that decodes images.
        (scratch / "libexec").symlink_to(build / "libexec")
        self.users = collections.defaultdict(list)  # of each header
        for entry in output("ninja", "-t", "deps", cwd=build).split("\n\n"):
            source, *headers = [pathlib.Path(os.path.normpath(build / name)) for name in
                                re.findall(r"^    (.*)$", entry, re.MULTILINE)] or [build]
            if source.is_relative_to(root / "src") and source in self.commands:
                for header in headers:
                    self.users[header].append(source)
        names = sorted(folder.name for folder in (root / "tests").iterdir()
                       if (root / "src" / folder.name).is_dir())
        self.folders = {name: Folder(name, build, scratch) for name in names}

    def compiled(self, source, place=None):
        """The object of a source as it is, or with a change in it or a header; None if it fails."""
        overlay, result = self.scratch / "src", self.scratch / f"{source.stem}.o"
        shutil.rmtree(overlay, ignore_errors=True)
        files = {source: source.read_text()} | ({place.file: changed(place)} if place else {})
        for file, text in files.items():
            copy = overlay / file.relative_to(self.root / "src")
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_text(text)
        command = list(self.commands[source])
        command[command.index("-o") + 1] = str(result)
        command[command.index("-c") + 1] = str(overlay / source.relative_to(self.root / "src"))
        command[1:1] = [f"-I{overlay}"]
        return result if quiet(command + ["-O1", "-g0", "-w"], BUILD_S, self.build) else None

    def objects(self, place):
        """What contains the change; empty where it changes no code, None where it is no code."""
        found = []
        for source in [place.file] if place.file in self.commands else self.users[place.file]:
            if source not in self.unchanged:
                self.unchanged[source] = self.compiled(source).read_bytes()
            result = self.compiled(source, place)
            if not result:
                return None
            if result.read_bytes() != self.unchanged[source]:
                found.append(str(result))
        return found

    def survives(self, place):
        """None for a change that does not count."""
        objects = self.objects(place)
        if not objects:
            return None
        own = place.file.parent.name
        order = sorted(self.folders, key=lambda name: (
            name != own, sum(self.folders[name].seconds.values())))
        for name in order:
            self.folders[name].linked(objects, self.build)
            if not self.folders[name].passes(quick=True):
                return False
        return all(self.folders[name].passes(quick=False) for name in order)


def draw_places(root, draw):
    """Endless: a place of one folder of src after the other."""
    folders = collections.defaultdict(list)
    for file in sorted([*(root / "src").rglob("*.cpp"), *(root / "src").rglob("*_inl.h")]):
        folders[file.parent].extend(places(file))
    for found in folders.values():
        draw.shuffle(found)
    while any(folders.values()):
        for folder in sorted(folders):
            if folders[folder]:
                yield folders[folder].pop()


def listed_places(root, text):
    for file, line, column, old, new in LISTED.findall(text):
        for pair in SWAPS:
            if (pair[0].strip(), pair[1].strip()) == (old, new):
                yield Place(root / file, int(line) - 1, int(column) - 1, *pair)


def main(root, build, count, rest):
    root, build = pathlib.Path(root).resolve(), pathlib.Path(build).resolve()
    if count == "again":
        chosen = list(listed_places(root, pathlib.Path(rest).read_text()))
        count = len(chosen)
    else:
        count, chosen = int(count), draw_places(root, random.Random(int(rest)))
    outcomes = collections.Counter()
    with tempfile.TemporaryDirectory() as scratch:
        tree = Tree(root, build, pathlib.Path(scratch))
        for place in chosen:
            if outcomes.total() >= count:
                break
            outcome = tree.survives(place)
            if outcome is None:
                continue
            outcomes[outcome] += 1
            print(f"{'SURVIVED' if outcome else 'noticed '} {place.file.relative_to(root)}:"
                  f"{place.line + 1}:{place.column + 1}: {place.old.strip()} became "
                  f"{place.new.strip()}", flush=True)
    noticed, tried = outcomes[False], outcomes.total()
    print(f"{noticed} of {tried} changes were noticed, {100 * noticed / max(tried, 1):.1f} %")
    return 0 if noticed >= WANTED * tried else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:4], sys.argv[4] if len(sys.argv) > 4 else "1"))
