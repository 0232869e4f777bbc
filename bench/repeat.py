"""Whether pictures repeat: every example scene in both modes by both estimators, seed 7, twice on
one thread, on 2, 3 and 8 threads, and stopped in the middle and resumed. All files that a run
writes are compared byte for byte. Ends with status 1 when any differ.

usage: repeat.py BUILD [SCENE...]
"""
# SPDX-License-Identifier: MIT
import itertools
import json
import pathlib
import signal
import subprocess
import sys
import tempfile

EXAMPLES = pathlib.Path(__file__).resolve().parent.parent / "examples"
SMALL = ["--resolution", "24x16", "--sample", "64", "--seed", "7"]
STOP_AFTER = 8  # frames


def written(folder):
    return {path.name: path.read_bytes() for path in sorted(folder.iterdir()) if path.is_file()}


def render(program, given):
    """All pictures of a run, by name."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([program, *given, "--quiet", "--beauty", "beauty.pfm"], cwd=folder,
                       check=True, stdout=subprocess.DEVNULL)
        return written(pathlib.Path(folder))


def stop_in_the_middle(program, given, checkpoint):
    """Whether the run was stopped before its end."""
    with tempfile.TemporaryDirectory() as folder, subprocess.Popen(
            [program, *given, "--checkpoint", checkpoint, "--progress", "json"], cwd=folder,
            text=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
        for line in process.stderr:
            if json.loads(line).get("frame", 0) >= STOP_AFTER:
                process.send_signal(signal.SIGTERM)
                break
        process.stderr.read()
        return process.wait() != 0


def faults(program, scene, mode, estimator):
    given = [scene, *SMALL, "--mode", mode, "--estimator", estimator]
    first = render(program, [*given, "--threads", "1"])
    for threads in "1238":
        if render(program, [*given, "--threads", threads]) != first:
            yield f"{threads} threads"
    with tempfile.TemporaryDirectory() as folder:
        checkpoint = f"{folder}/checkpoint"
        if not stop_in_the_middle(program, [*given, "--threads", "1"], checkpoint):
            yield "not stopped in time"
        if render(program, [*given, "--resume", checkpoint]) != first:
            yield "resumed"


def main(build, *scenes):
    program = str(pathlib.Path(build).resolve() / "tools/moonhare")
    scenes = scenes or sorted(str(folder.parent) for folder in EXAMPLES.glob("*/camera"))
    failed = 0
    for scene, mode, estimator in itertools.product(scenes, ("gather", "path"),
                                                    ("classic", "exact")):
        found = list(faults(program, str(pathlib.Path(scene).resolve()), mode, estimator))
        failed += len(found)
        print(f"{pathlib.Path(scene).name}, {mode}, {estimator}: {'; '.join(found) or 'equal'}",
              flush=True)
    sys.exit(failed > 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
