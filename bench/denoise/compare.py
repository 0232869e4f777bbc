"""Product of error and time, denoised, beside undenoised Cycles: compare.py BUILD SCENE... renders
scene directories of the kind that cycles_scene.py knows by both in one run, each held against its
own two pictures of many samples, whose noise is taken off. Times are processor time: of the render
alone for Cycles, of the whole program for moonhare.
SPDX-License-Identifier: MIT"""
import argparse
import json
import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
FRAMES = (4, 16, 64)


def processor_seconds():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def cycles(scene, samples, path, seed=0):
    output = subprocess.run(["blender", "-b", "--python-exit-code", "1", "-P",
                             os.path.join(HERE, "cycles_scene.py"), "--", scene, str(samples),
                             str(seed), path],
                            check=True, capture_output=True, text=True).stdout
    return float(re.search(r"processor seconds (\S+)", output).group(1))


def with_light_samples(scene, frames, folder):
    """A copy whose lights have one sample a frame."""
    copy = shutil.copytree(scene, os.path.join(folder, f"scene{frames}"), dirs_exist_ok=True)
    os.chmod(os.path.join(copy, "light"), 0o755)
    for name in os.listdir(os.path.join(copy, "light")):
        path = os.path.join(copy, "light", name)
        with open(path) as file:
            text = re.sub(r"(?m)^(\s*sample) \d+", rf"\1 {frames}", file.read())
        os.remove(path)
        with open(path, "w") as file:
            file.write(text)
    return copy


def moonhare(program, scene, frames, folder, *options):
    copy = with_light_samples(scene, frames, folder)
    start = processor_seconds()
    subprocess.run([program, copy, "--estimator", "exact", "--sample", str(frames), "--gather",
                    str(frames), "--output-dir", folder, "--beauty", "ours.pfm", *options],
                   check=True, capture_output=True)
    return processor_seconds() - start


def distance(program, picture, reference):
    output = subprocess.run([program, "diff", picture, reference, "--json"], check=True,
                            capture_output=True, text=True).stdout
    return json.loads(output)["relative_mse"]


def error(program, picture, references):
    """Of the picture alone: half of what two references differ by is the noise of one."""
    noise = 0.5 * distance(program, *references)
    return sum(distance(program, picture, reference) for reference in references) / 2 - noise


def compare(program, scene, samples, folder):
    def at(name):
        return os.path.join(folder, name)

    their_references = [at(f"cycles{seed}.exr") for seed in (1, 2)]
    our_references = [at(f"ours{seed}.pfm") for seed in (1, 2)]
    for seed, (theirs, ours) in enumerate(zip(their_references, our_references), 1):
        cycles(scene, samples, theirs, seed)
        moonhare(program, scene, samples, folder, "--seed", str(seed))
        os.replace(at("ours.pfm"), ours)
    for frames in FRAMES:
        seconds = cycles(scene, frames, at("cycles.exr"))
        theirs = seconds * error(program, at("cycles.exr"), their_references)
        own_seconds = moonhare(program, scene, frames, folder, "--denoise")
        noisy, clean = (error(program, at(name), our_references)
                        for name in ("ours.pfm", "ours_denoised.pfm"))
        print(f"| {os.path.basename(scene)} | {frames} | {seconds:.2f} | {theirs / seconds:.5f} "
              f"| {own_seconds:.2f} | {noisy:.5f} | {clean:.5f} "
              f"| {own_seconds * clean / theirs:.3f} |", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split(":")[0])
    parser.add_argument("build", help="folder of a build")
    parser.add_argument("scenes", nargs="+", metavar="SCENE")
    parser.add_argument("--samples", type=int, default=1024, help="of the references")
    arguments = parser.parse_args()
    print("| scene | frames | Cycles, s | error "
          "| moonhare, s | error | denoised | ratio of products |\n"
          "|---|---|---|---|---|---|---|---|")
    for scene in arguments.scenes:
        with tempfile.TemporaryDirectory() as folder:
            compare(os.path.join(arguments.build, "tools/moonhare"), os.path.abspath(scene),
                    arguments.samples, folder)
    return 0


sys.exit(main())
