#!/usr/bin/env python3
"""Loads every file below a folder through a scene of its own: an image as a texture, an OBJ, hair
or fur file as the object. Prints a line for each file and a summary; exits with 1 after a crash, a
run of more than 10 seconds or 1 GB, or a refusal without a line that says why; with --valid also
after any refusal.

usage: load_folder.py [--valid] PROGRAM FOLDER
SPDX-License-Identifier: MIT"""
import collections
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading

LONGEST_SECONDS = 10
MOST_KILOBYTES = 1 << 20
NO_SCENE_FILES = {"", ".md", ".mtl", ".txt"}
KEYS = {".obj": "obj", ".hair": "hair", ".fur": "fur"}

TRIED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "tried")  # a scene with two gaps
SMALL = ("--progress", "none", "--mode", "path", "--resolution", "8x6", "--sample", "1")


def write_scene(folder, file):
    extension = os.path.splitext(file)[1].lower()
    name, key = "tried" + extension, KEYS.get(extension)
    shutil.copytree(TRIED, folder)
    os.symlink(os.path.abspath(file), os.path.join(folder, name))
    with open(os.path.join(folder, "geometry/all.mh"), "r+") as scene:
        text = scene.read()
        scene.seek(0)
        scene.write(text % (("", f'    {key} "{name}"') if key else
                            (f'            image "{name}"', '    obj "triangle.obj"')))
        scene.truncate()


def run(program, scene, folder):
    """Report, exit status (None when it took too long), and the largest of the processes in KB."""
    with open(os.path.join(folder, "report"), "w+b") as report:
        process = subprocess.Popen([program, scene, *SMALL], cwd=folder, stdout=report,
                                   stderr=subprocess.STDOUT)
        late = threading.Event()
        watch = threading.Timer(LONGEST_SECONDS, lambda: (late.set(), process.kill()))
        watch.start()
        _, status, usage = os.wait4(process.pid, 0)
        watch.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        report.seek(0)
        text = report.read().decode(errors="replace")
    return text, None if late.is_set() else process.returncode, usage.ru_maxrss


def try_file(program, file):
    """Whether it went well, and the words for it."""
    folder = tempfile.mkdtemp()
    scene = os.path.join(folder, "scene")
    try:
        write_scene(scene, file)
        report, status, kilobytes = run(program, scene, folder)
    finally:
        shutil.rmtree(folder)
    lines = [line.replace(scene, "scene") for line in report.splitlines()]
    messages = [line for line in lines if "error :(" in line or "warning :(" in line]
    messages += [line for line in lines if line.startswith("moonhare: ")]
    if status is None:
        return "hang", "still running after %d seconds" % LONGEST_SECONDS
    if status < 0:
        return "crash", signal.Signals(-status).name
    if kilobytes > MOST_KILOBYTES:
        return "bomb", "takes %d MB" % (kilobytes >> 10)
    if messages:
        return "refused", messages[0].split("\t", 1)[-1]
    return ("loaded", "") if status == 0 else ("silent", "status %d without a message" % status)


def files_below(folder):
    for path, _, names in sorted(os.walk(folder)):
        for name in sorted(names):
            if os.path.splitext(name)[1].lower() not in NO_SCENE_FILES:
                yield os.path.join(path, name)


def main(arguments):
    valid = "--valid" in arguments
    program, folder = [a for a in arguments if a != "--valid"]
    good = {"loaded"} if valid else {"loaded", "refused"}
    counts = collections.Counter()
    for file in files_below(folder):
        outcome, words = try_file(os.path.abspath(program), file)
        counts[outcome] += 1
        print("%-8s %s  %s" % (outcome, os.path.relpath(file, folder), words), flush=True)
    print(", ".join("%d %s" % (count, outcome) for outcome, count in sorted(counts.items())))
    return 0 if counts and set(counts) <= good else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
