#!/usr/bin/env python3
"""Loads every file below a folder through a scene of its own: an image as a texture, an OBJ, hair or
fur file as the object. Prints a line for each file and a summary; exits with 1 after a crash, a run
of more than 10 seconds or 1 GB, or a refusal without a line that says why; with --valid also after
any refusal.

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

SCENE = """camera
end
sky_light
    photon 0
end
shader
    name "looks"
    surface_shader
        lambertian
            color 1 1 1
%s
        end
    end
end
object
    shader "looks"
%s
end
"""
SMALL = ("--progress", "none", "--mode", "path", "--resolution", "8x6", "--sample", "1")
TRIANGLE = "v -1 0 -1\nv 1 0 -1\nv 0 0 1\nvt 0 0\nvt 1 0\nvt 0 1\nf 1/1 2/2 3/3\n"


def write_scene(folder, file):
    extension = os.path.splitext(file)[1].lower()
    geometry = os.path.join(folder, "geometry")
    os.mkdir(geometry)
    os.mkdir(os.path.join(folder, "image"))
    with open(os.path.join(geometry, "triangle.obj"), "w") as mesh:
        mesh.write(TRIANGLE)
    key = KEYS.get(extension)
    name = "tried" + extension
    os.symlink(os.path.abspath(file), os.path.join(folder, "geometry" if key else "image", name))
    text = SCENE % ((f'            image "{name}"', '    obj "triangle.obj"') if not key else
                    ("", f'    {key} "{name}"'))
    with open(os.path.join(geometry, "all.mh"), "w") as scene:
        scene.write(text)


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
    os.mkdir(scene)
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
