"""What --adaptive saves at equal error: adaptive.py BUILD SCENE... renders each scene even with N
and with 2 N frames and adaptively with N, against two pictures of other seeds. Counts paths, and
rays with shadow rays: neither depends on what else the machine does.
SPDX-License-Identifier: MIT"""
import argparse
import json
import math
import os
import subprocess
import sys
import tempfile


class Bench:
    def __init__(self, build, folder, options):
        self.program = os.path.join(build, "tools/moonhare")
        self.folder, self.options = folder, options

    def render(self, scene, name, seed, frames, *options):
        """Rays and shadow rays of the run."""
        picture, report = (os.path.join(self.folder, name + end) for end in (".pfm", ".json"))
        subprocess.run([self.program, scene, "--estimator", "exact", "--seed", str(seed),
                        "--sample",
                        str(frames), "--gather", str(frames), "--output-dir", self.folder,
                        "--beauty", picture, "--report", report, *self.options, *options],
                       check=True, capture_output=True)
        with open(report, encoding="utf-8") as file:
            counts = json.load(file)
        return counts["rays"] + counts["shadow_rays"]

    def distance(self, name, reference):
        at = [os.path.join(self.folder, n + ".pfm") for n in (name, reference)]
        output = subprocess.run([self.program, "diff", *at, "--json"], check=True,
                                capture_output=True, text=True).stdout
        return json.loads(output)["relative_mse"]

    def error(self, name):
        """Without the noise of the references."""
        noise = 0.25 * (self.distance("r1", "r2") + self.distance("r2", "r1"))
        return 0.5 * (self.distance(name, "r1") + self.distance(name, "r2")) - noise

    def row(self, scene, frames, reference_frames):
        for i in (1, 2):
            self.render(scene, f"r{i}", 10 + i, reference_frames)
        rays = self.render(scene, "even", 1, frames)
        rays_of_twice = self.render(scene, "twice", 1, 2 * frames)
        adaptive_rays = self.render(scene, "adaptive", 1, frames, "--adaptive")
        even, twice, adaptive = (self.error(name) for name in ("even", "twice", "adaptive"))
        octaves = math.log(even / adaptive) / math.log(even / twice)  # of frames, at equal error
        even_rays = rays + (rays_of_twice - rays) * (2 ** octaves - 1)
        return (f"| {os.path.basename(scene)} | {frames} | {even:.6f} | {twice:.6f} "
                f"| {adaptive:.6f} | {2 ** octaves:.2f} | {even_rays / adaptive_rays:.2f} |")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split(":")[0])
    parser.add_argument("build", help="folder of a build")
    parser.add_argument("scenes", nargs="+", metavar="SCENE")
    parser.add_argument("--frames", type=int, default=64)
    parser.add_argument("--reference", type=int, default=256, help="frames of the references")
    parser.add_argument("--options", default="", help="of all renders, as \"--resolution 128x80\"")
    arguments = parser.parse_args()
    print("| scene | frames | even | twice as many | adaptive "
          "| paths, equal error | rays, equal error |\n"
          "|---|---|---|---|---|---|---|")
    for scene in arguments.scenes:
        with tempfile.TemporaryDirectory() as folder:
            bench = Bench(arguments.build, folder, arguments.options.split())
            print(bench.row(os.path.abspath(scene), arguments.frames, arguments.reference),
                  flush=True)
    return 0


sys.exit(main())
