"""Compares moonhare with references on small scenes of one feature each: compare.py BUILD [NAME...]
renders the scenes of scenes.py, or those named, in both estimators and prints a table. References
are rendered once and kept in reference/references beside the folder of the build.
SPDX-License-Identifier: MIT"""
import argparse
import hashlib
import os
import subprocess

import moonhare_side
import pictures
from scenes import SCENES

HERE = os.path.dirname(os.path.abspath(__file__))
ESTIMATORS = ("classic", "exact")


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.split(":")[0])
    parser.add_argument("build", help="folder of a build with the program and the Python module")
    parser.add_argument("names", nargs="*", metavar="NAME", help="scenes; all without names")
    parser.add_argument("--estimator", choices=ESTIMATORS, action="append")
    return parser.parse_intermixed_args()


def has_exact(build):
    usage = subprocess.run([os.path.join(build, "tools/moonhare"), "--help"], capture_output=True,
                           text=True).stdout
    return "--estimator" in usage


def reference_path(name, folder):
    """Named by a digest of the scene and of the code that renders it."""
    scene = SCENES[name]
    maker = "cycles_side.py" if scene.reference == "Cycles" else "integrals.py"
    with open(os.path.join(HERE, maker), "rb") as code:
        digest = hashlib.sha256(code.read() + repr(scene).encode()).hexdigest()
    return os.path.join(folder, f"{name}-{digest[:12]}.pfm")


def make_references(names, folder):
    """Those of Cycles in one run of Blender."""
    os.makedirs(folder, exist_ok=True)
    missing = {name: path for name in names
               if not os.path.exists(path := reference_path(name, folder))}
    by_cycles = [n for n in missing if SCENES[n].reference == "Cycles"]
    if by_cycles:
        pairs = [word for name in by_cycles for word in (name, missing[name])]
        with open(os.path.join(folder, "blender.log"), "w") as log:
            subprocess.run(["blender", "-b", "--python-exit-code", "1", "-P",
                            os.path.join(HERE, "cycles_side.py"), "--", *pairs],
                           check=True, stdout=log)
    for name in set(missing) - set(by_cycles):
        pictures.write_pfm(missing[name], SCENES[name].reference(SCENES[name]), bottom_up=False)


def compare(name, estimators, build, folder):
    scene = SCENES[name]
    reference = pictures.read_pfm(reference_path(name, os.path.join(folder, "references")))
    cells = []
    for estimator in estimators:
        place = os.path.join(folder, estimator, name)
        os.makedirs(place, exist_ok=True)
        picture = moonhare_side.render(name, scene, place, build, estimator)
        cells.append("{:.4f} | {:.4f}".format(*pictures.compare(picture, reference)))
    by = scene.reference if scene.reference == "Cycles" else "brute force"
    print("|", " | ".join((name, scene.feature, by, *cells)), "|", flush=True)


def main():
    options = arguments()
    build = os.path.abspath(options.build)
    folder = os.path.join(os.path.dirname(build), "reference")
    names = options.names or list(SCENES)
    estimators = options.estimator or list(ESTIMATORS)
    if "exact" in estimators and not has_exact(build):
        print("this program has no exact estimator: skipped")
        estimators.remove("exact")
    make_references(names, os.path.join(folder, "references"))
    print("| scene | feature | reference |", " ".join(f"{e}: mean | rms |" for e in estimators))
    print("|---|---|---|" + "---|---|" * len(estimators))
    for name in names:
        compare(name, estimators, build, folder)


main()
