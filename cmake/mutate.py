#!/usr/bin/env python3
"""Changes one operator, constant or condition of the library at a time and runs the tests.

usage: mutate.py ROOT WORK COUNT [SEED]
Copies the tree ROOT to WORK/source, builds it below WORK, then breaks it COUNT times, at places
spread evenly over the folders of src. The tests of the folder run first, then those of all other
folders; a change that no test notices survives. A change that does not compile is drawn again.
Prints a line for each change and the score, and exits with 1 when that is below 90 %. Offutt's set
of operators ("sufficient mutation operators", Offutt et al. 1996), as far as text without a parser
allows.
"""
import pathlib
import random
import re
import shutil
import subprocess
import sys

WANTED = 0.9
SWAPS = [(" < ", " <= "), (" <= ", " < "), (" > ", " >= "), (" >= ", " > "), (" == ", " != "),
         (" != ", " == "), (" + ", " - "), (" - ", " + "), (" * ", " / "), (" / ", " * "),
         (" && ", " || "), (" || ", " && "), (" += ", " -= "), (" -= ", " += "), (" *= ", " /= "),
         ("std::min(", "std::max("), ("std::max(", "std::min("), ("true", "false"),
         ("false", "true"), ("(!", "("), ("0.0f", "1.0f"), ("1.0f", "0.0f"), ("0.5f", "0.25f"),
         ("2.0f", "3.0f"), ("++", "--"), (" % ", " / "), (" & ", " | "), (" | ", " & ")]
TEXT = re.compile(r'"(?:[^"\\]|\\.)*"|//.*')
# Lines on which a change means nothing, or nothing but speed.
PASSED_OVER = re.compile(r"^\s*(#|//|using|template|static_assert|namespace|friend|case .*abort)")
BUILD_S, TEST_S = 1800, 300


def blank(match):
    return " " * len(match[0])


def places(file):
    """(line, column, old, new) of everything that can be changed in a source."""
    for number, line in enumerate(file.read_text().split("\n")):
        if PASSED_OVER.match(line):
            continue
        code = TEXT.sub(blank, line)
        for old, new in SWAPS:
            for match in re.finditer(re.escape(old), code):
                yield number, match.start(), old, new


def changed(text, place):
    number, column, old, new = place
    lines = text.split("\n")
    lines[number] = lines[number][:column] + new + lines[number][column + len(old):]
    return "\n".join(lines)


def quiet(*command, seconds, cwd=None):
    """Whether it ends well in time; a program that hangs has been noticed too."""
    try:
        return subprocess.run(command, cwd=cwd, timeout=seconds, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0
    except subprocess.TimeoutExpired:
        return False


class Tree:
    def __init__(self, root, work):
        self.source, self.build = work / "source", work / "build"
        shutil.rmtree(self.source, ignore_errors=True)
        shutil.copytree(root, self.source, ignore=shutil.ignore_patterns("build", ".git"))
        flags = "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g0"
        if not quiet("cmake", "-G", "Ninja", "-S", self.source, "-B", self.build,
                     "-DCMAKE_BUILD_TYPE=RelWithDebInfo", flags, seconds=BUILD_S):
            sys.exit("the tree cannot be configured")
        self.folders = sorted(folder.name for folder in (self.source / "tests").iterdir()
                              if (self.source / "src" / folder.name).is_dir())
        if not self.passes(self.folders):
            sys.exit("the tree does not pass its tests as it is")

    def builds(self, folders):
        return quiet("ninja", "-C", self.build, *(f"{name}_tests" for name in folders),
                     seconds=BUILD_S)

    def passes(self, folders):
        """Compiles and tests folder by folder; the first that fails ends it."""
        for name in folders:
            program = self.build / "tests" / name / f"{name}_tests"
            if not self.builds([name]) or not quiet(
                    program, "--gtest_brief=1", seconds=TEST_S, cwd=program.parent):
                return False
        return True

    def survives(self, file, place):
        """None for a change that does not compile."""
        folder, text = file.parent.name, file.read_text()
        file.write_text(changed(text, place))
        try:
            if not quiet("ninja", "-C", self.build, "mh_core", seconds=BUILD_S):
                return None
            return self.passes([folder] * (folder in self.folders)
                               + [name for name in self.folders if name != folder])
        finally:
            file.write_text(text)


def draw_places(tree, draw):
    """Endless: (file, place), one folder of src after the other."""
    folders = {}
    for file in sorted((tree.source / "src").rglob("*.cpp")) + sorted(
            (tree.source / "src").rglob("*_inl.h")):
        folders.setdefault(file.parent, []).extend((file, place) for place in places(file))
    while True:
        for folder in sorted(folders):
            yield draw.choice(folders[folder])


def main(root, work, count, seed):
    tree = Tree(pathlib.Path(root), pathlib.Path(work))
    killed = survived = 0
    for file, place in draw_places(tree, random.Random(seed)):
        if killed + survived == count:
            break
        outcome = tree.survives(file, place)
        if outcome is None:
            continue
        survived += outcome
        killed += not outcome
        number, _, old, new = place
        print(f"{'SURVIVED' if outcome else 'noticed '} "
              f"{file.relative_to(tree.source)}:{number + 1}: "
              f"{old.strip()} became {new.strip()}", flush=True)
    print(f"{killed} of {count} changes were noticed, {100 * killed / count:.1f} %")
    return 0 if killed >= WANTED * count else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], int(sys.argv[3]),
                  int(sys.argv[4]) if len(sys.argv) > 4 else 1))
