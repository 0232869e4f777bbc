"""Strips of spheres for docs/materials.md, one for each parameter, ours above those of Cycles:
strips.py BUILD [NAME...] writes them to docs/images.
SPDX-License-Identifier: MIT"""
import os
import subprocess
import sys

import numpy

import compare
import spheres
from compare import pictures

STUDIO = (0, -20, 0), 0.15, (480, 96)
compare.SAMPLES, compare.FRAMES, compare.GATHER = 48, 16, 2
NAMES = [name for name in spheres.STRIPS if name != "gold_roughness"]
DOCS = os.path.join(compare.HERE, "../../docs/images")


def main():
    build = os.path.abspath(sys.argv[1])
    names = sys.argv[2:] or NAMES
    folder = os.path.join(os.path.dirname(build), "strips")
    os.makedirs(folder, exist_ok=True)
    jobs = [compare.imported(name, build, folder, STUDIO) for name in names]
    new = [job for job in jobs if not compare.is_kept(job)]
    if new:
        compare.render_by_cycles(new, folder)
    for name in names:
        both = [pictures.read_pfm(os.path.join(folder, name + end + ".pfm"))
                for end in ("", "_cycles")]
        pair = os.path.join(folder, "pair.pfm")
        pictures.write_pfm(pair, numpy.concatenate(both), bottom_up=False)
        subprocess.run([os.path.join(build, "tools/moonhare"), "convert", pair,
                        os.path.join(DOCS, f"material_{name}.jpg")], check=True)
        ours, theirs = (picture.mean() for picture in both)
        print(f"{name}: mean {ours / theirs:.3f}", flush=True)


main()
