"""Processor time to check and to render scenes of many files, and how it grows with their number.

usage: many_files.py PROGRAM [FILES...]

A scene holds FILES objects (1,000, 10,000 and 100,000 unless given), each in a file of its own. A
ratio near that of the numbers of files means that nothing compares files with each other. Lines:
files, seconds to check, seconds to render 8 x 8 pixels, and both against the line before.
SPDX-License-Identifier: MIT"""
import os
import resource
import subprocess
import sys
import tempfile

MESH = "v -1 -1 0\nv 1 -1 0\nv 0 1 0\nf 1 2 3\n"
OBJECT = 'object\n    obj "floor.obj"\nend\n'
CAMERA = """camera
    resolution 8 8
    sample 1
    bounce 1
    position 0 0 3
    direction 0 0 -1
end
"""


def write_scene(folder, files):
    for kind in ("camera", "geometry"):
        os.makedirs(os.path.join(folder, kind))
    texts = {f"geometry/{i}.mh": OBJECT for i in range(files)}
    texts.update({"geometry/floor.obj": MESH, "camera/camera.mh": CAMERA})
    for name, text in texts.items():
        with open(os.path.join(folder, name), "w", encoding="ascii") as file:
            file.write(text)


def processor_seconds(command, folder):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   check=False)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def main(program, *counts):
    counts = [int(count) for count in counts] or [1000, 10000, 100000]
    last = None
    print("   files   check  render  ratios", flush=True)
    for count in counts:
        with tempfile.TemporaryDirectory() as folder:
            write_scene(os.path.join(folder, "scene"), count)
            seconds = [processor_seconds(command, folder) for command in (
                (program, "check", "scene"), (program, "scene", "--mode", "path", "--quiet"))]
        ratios = " ".join(f"{now / before:6.1f}"
                          for now, before in zip(seconds, last)) if last else ""
        print(f"{count:8} {seconds[0]:7.2f} {seconds[1]:7.2f}  {ratios}", flush=True)
        last = seconds


if __name__ == "__main__":
    main(os.path.abspath(sys.argv[1]), *sys.argv[2:])
