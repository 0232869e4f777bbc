"""Runs what README and docs show, at tiny size: scene blocks, commands, host programs; looks for
the pictures and pages that they refer to. A block that opens with a comment naming a file is
written to that file of the page's scene; every other scene block has to stand alone.
usage: pages_test.py SOURCE_DIRECTORY INSTALLED_TREE WORK_DIRECTORY
SPDX-License-Identifier: MIT
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

source, tree, work = (pathlib.Path(a).resolve() for a in sys.argv[1:])
program = tree / "bin/moonhare"
environment = dict(os.environ, PATH=f"{tree / 'bin'}:{os.environ['PATH']}",
                   LD_LIBRARY_PATH=str(tree / "lib"),
                   PKG_CONFIG_PATH=str(tree / "lib/pkgconfig"),
                   PYTHONPATH=str(tree / "lib/python3/dist-packages"))

BLOCK = re.compile(r"^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
TITLE = re.compile(r"(?:#|//) (\S+\.\w+)\n")
LINK = re.compile(r"\]\(([^)#:]+)(?:#[^)]*)?\)")
TINY = ((r"resolution \d+ \d+", "resolution 8 8"), (r"\bsample \d+", "sample 2"),
        (r"photon \d+", "photon 100"), (r"\blevel \d+", "level 2"),
        (r"Resolution\((\w+), \d+, \d+\)", r"Resolution(\1, 8, 8)"),
        (r"resolution=\(\d+, \d+\)", "resolution=(8, 8)"), (r"frames=\d+", "frames=2"))
ELSEWHERE = re.compile("is not found|no (shader|object) is named|(casts|hold) no photons"
                       "|of an empty object|geometry is instanced")
CAMERA = "camera\n    resolution 8 8\n    sample 1\nend\n"
faults = []
# One with NumPy, as Debian's own has it.
PYTHON = next((python for python in (sys.executable, "/usr/bin/python3")
               if subprocess.run([python, "-c", "import numpy"],
                                 capture_output=True).returncode == 0),
              None)


def tiny(text):
    for pattern, small in TINY:
        text = re.sub(pattern, small, text)
    return text


def run(command, folder, page):
    result = subprocess.run(command, shell=True, cwd=folder, env=environment, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=100)
    if result.returncode != 0 or "error :(" in result.stdout:
        faults.append(f"{page}: {command}\n{result.stdout[-2000:]}")


def write(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)


def check_scene(page, scene, alone):
    """A snippet alone may name files and records that are not shown."""
    result = subprocess.run([program, "check", "--json", scene], env=environment, text=True,
                            stdout=subprocess.PIPE)
    for fault in json.loads(result.stdout)["faults"]:
        if fault["severity"] == "note":
            continue
        if alone and (fault["line"] == 0 or ELSEWHERE.search(fault["message"])):
            continue
        faults.append(f"{page}: {fault['message']}: {fault['text']}")


def check_alone(page, number, text):
    scene = work / f"{page.replace('/', '_')}_{number}"
    write(scene / "camera/camera.mh", CAMERA)
    write(scene / "geometry/0.mh", 'object\n    obj "triangle.obj"\nend\n')
    write(scene / "geometry/triangle.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")
    write(scene / "geometry/a.mh", text)
    check_scene(page, scene, alone=True)
    # Pictures and meshes of a snippet are not there, so that its report has errors.
    if subprocess.run([program, scene, "--progress", "none", "--mode", "path"], cwd=scene,
                      stdout=subprocess.DEVNULL).returncode != 0:
        faults.append(f"{page}: does not render:\n{text}")


def command_lines(page, folder, text):
    for line in text.splitlines():
        if match := re.match(r"\./run (\w+)$", line):
            run(f"{source}/run help | grep -q '^  {match[1]} '", folder, page)
        elif not line.startswith("cmake --install"):
            line = re.sub(r"(tools/moonhare \w+)$", r"\1 --resolution 8x8 --sample 2", line)
            run(line.replace("build/release/tools/moonhare", str(program)), folder, page)


def check_page(path):
    page = str(path.relative_to(source))
    folder = work / page.replace("/", "_")
    folder.mkdir(parents=True)
    text = path.read_text()
    for target in LINK.findall(text):
        if not (path.parent / target).exists():
            faults.append(f"{page}: no file {target}")
    # The scene's directory is the one that the first command names.
    named = re.search(r"^(?:\S*/)?moonhare (\w+)$", text, re.MULTILINE)
    for number, (kind, block) in enumerate(BLOCK.findall(text)):
        title = TITLE.match(block)
        if kind == "sh":
            command_lines(page, folder, block)
        elif title and kind in ("text", "obj"):
            write(folder / named[1] / title[1], tiny(block))
        elif title:
            write(folder / title[1], tiny(block))
        elif kind in ("c", "cpp") and "int main" in block:
            write(folder / f"{number}.{kind}", tiny(block))
            run(f"c++ {number}.{kind} $(pkg-config --cflags --libs moonhare) && ./a.out", folder,
                page)
        elif kind == "python" and "import moonhare" in block and PYTHON:
            write(folder / f"{number}.py", tiny(block))
            run(f"{PYTHON} -B {number}.py", folder, page)
        elif kind == "text":
            check_alone(page, number, tiny(block))
    if named:
        check_scene(page, folder / named[1], alone=False)


shutil.rmtree(work, ignore_errors=True)
pages = [source / "README.md", source / "CONTRIBUTING.md", source / "examples/README.md",
         *sorted((source / "docs").rglob("*.md"))]
for path in pages:
    check_page(path)
for picture in (source / "docs/images").iterdir():
    if picture.stat().st_size > 150_000:
        faults.append(f"{picture.name} is larger than 150 KB")
    if not any(picture.name in path.read_text() for path in pages):
        faults.append(f"{picture.name} is shown nowhere")
references = (source / "docs/references.md").read_text()
for path in [*source.glob("src/**/*.[ch]*"), *source.glob("tools/**/*.[ch]*")]:
    for key in re.findall(r"\[[A-Za-z]{3,}\d\d\]", path.read_text(errors="replace")):
        if f"- {key}" not in references:
            faults.append(f"{path.name}: docs/references.md lacks {key}")
print("\n".join(faults) or f"{len(pages)} pages are right")
sys.exit(bool(faults))
