#!/usr/bin/env python3
"""Lets one allocation after the other fail in small renders, by the program and through the
exports, and looks how they end.

usage: allocations.py [TRIES]   so many of each render's allocations, evenly spread; or all
SPDX-License-Identifier: MIT"""
import glob
import os
import subprocess
import sys
import tempfile

import program

LIBRARY = os.path.abspath(os.environ["MOONHARE_FAILING"])
HOST = os.path.abspath(os.environ["MOONHARE_FAILING_HOST"])
TGA = b"\0\0\2" + bytes(9) + b"\2\0\2\0\x18\0" + bytes(range(12))
TEXTURE = program.SHADER.replace("color 0.6 0.4 0.3", 'image "a.tga"')
SMALL = ["scene", "--resolution", "12x9", "--sample", "2", "--threads", "2", "--seed", "1"]
READABLE = set()  # contents of pictures
RENDERS = {
    "checkpoint": SMALL + ["--checkpoint", "c", "--write-every", "0"],
    "gather": SMALL + ["--mode", "gather", "--report", "r.json"],
    "texture": ["texture", *SMALL[1:], "--beauty", "b.png"],
}


def run(command, folder, **environment):
    """Status (None for a hang) and what the process said."""
    try:
        result = subprocess.run(command, cwd=folder, capture_output=True, text=True, timeout=20,
                                env={**os.environ, "LD_PRELOAD": LIBRARY, **environment})
        return result.returncode, result.stderr + result.stdout
    except subprocess.TimeoutExpired:
        return None, ""


def is_readable(picture, folder):
    """Most runs write the same bytes: they are read once."""
    with open(picture, "rb") as file:
        content = file.read()
    if content not in READABLE and program.run("convert", picture,
                                               f"{folder}/copy.pfm").returncode == 0:
        READABLE.add(content)
    return content in READABLE


def is_whole(folder):
    """Whether every picture that is there can be read."""
    return all(is_readable(picture, folder) for kind in ("hdr", "exr", "png")
               for picture in glob.glob(f"{folder}/*.{kind}"))


def sweep(command, tries, ends_well):
    """Number of failed allocations, and those after which the process ended badly."""
    with tempfile.TemporaryDirectory() as folder:
        program.write_scene(f"{folder}/scene", program.SOUND)
        program.write_scene(f"{folder}/texture", {**program.SOUND, "shader/shader.mh": TEXTURE})
        with open(f"{folder}/texture/a.tga", "wb") as file:
            file.write(TGA)
        status, text = run(command, folder, COUNT_TO=f"{folder}/count")
        assert status == 0, text
        with open(f"{folder}/count") as file:
            count = int(file.read())
        numbers = range(1, count + 1, max(1, count // tries) if tries else 1)
        bad = []
        for number in numbers:
            status, text = run(command, folder, FAIL_AT=str(number))
            if not ends_well(status, text) or not is_whole(folder):
                bad.append((number, status, text[-300:]))
        return len(numbers), bad


def ends_the_program(status, text):
    return status == 0 or status == 3 and text.count("moonhare: out of memory") == 1


def leaves_the_library(status, text):
    """The host renders a second time and says so; one line tells of the failed allocation."""
    return status == 0 and text.count("lack of memory") <= 1 and "rendered again" in text


def sweeps(tries):
    for name, arguments in RENDERS.items():
        yield name, *sweep([program.PROGRAM, *arguments], tries, ends_the_program)
    os.environ["HOST_COUNTS"] = "1"
    yield "exports", *sweep([HOST], tries, leaves_the_library)


if __name__ == "__main__":
    failed = False
    for name, tried, bad in sweeps(int(sys.argv[1]) if len(sys.argv) > 1 else 0):
        print(f"{name}: {tried} allocations, {len(bad)} ended badly",
              *(f"  {number}: status {status}: {text!r}" for number, status, text in bad), sep="\n")
        failed = failed or bool(bad)
    sys.exit(failed)
