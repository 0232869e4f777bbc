"""Makes the page of pairs of what suite.py left: page.py FOLDER PROGRAM DOCS. Pictures go to
DOCS/images/blender, the page is DOCS/blender-suite.md.
SPDX-License-Identifier: MIT"""
import json
import os
import subprocess
import sys

HEAD = """# Scenes of Blender beside Cycles

Made by `./run bench blender` and `bench/blender/page.py`. Left moonhare by the
[add-on](blender.md), right Cycles of Blender 3.4.1; 160 x 128 pixels, {samples} samples each,
box filter, no clamp. Differences are those of the means of 16 x 16 pixels, relative to Cycles; what
is darker than a hundredth of the picture's mean counts as that. The last column is the shift
between both pictures in pixels, by least squares over their slopes.

| scene | ratio of means | rms | worst block | limit | blocks within | shift x, y |
|---|---|---|---|---|---|---|
"""


def row(r):
    x, y = r["shift"]
    return (f"| {r['name']} | {r['mean']:.4f} | {r['rms']:.4f} | {r['worst']:.3f} "
            f"| {r['limit']:.2f} | {100 * r['within']:.0f} % | {x:.3f}, {y:.3f} |")


def main():
    folder, program, docs = sys.argv[1:]
    with open(os.path.join(folder, "results.json")) as file:
        results = sorted(json.load(file).values(), key=lambda r: r["name"])
    images = os.path.join(docs, "images/blender")
    os.makedirs(images, exist_ok=True)
    for result in results:
        name = result["name"]
        subprocess.run([program, "convert", os.path.join(folder, name + ".png"),
                        os.path.join(images, name + ".jpg")], check=True)
    samples = os.environ.get("SUITE_SAMPLES", "256")
    with open(os.path.join(docs, "blender-suite.md"), "w") as page:
        page.write(HEAD.format(samples=samples) + "\n".join(map(row, results)) + "\n\n")
        page.write("\n\n".join(
            f"{r['name']}\n\n![moonhare and Cycles](images/blender/{r['name']}.jpg)"
            for r in results) + "\n")


main()
