"""How true the time left of the progress is, a tenth of the way through each phase.

usage: time_left.py PROGRAM SCENE... [-- OPTIONS]

Each scene is rendered five times on one and on two threads. What the progress says, in seconds,
counts as as much processor time as seconds of the phase have taken so far: other work of the
machine hardly touches that. Lines:
scene, threads, phase, processor time of the phase, error in percent, median and range.
SPDX-License-Identifier: MIT"""
import json
import os
import statistics
import subprocess
import sys
import tempfile

RUNS = 5
SHARE = 0.1
LEAST = 0.05  # of the processor time of a run, below which nobody waits for a phase
QUIET = {**os.environ, "OMP_WAIT_POLICY": "passive"}  # threads that wait take no time


def phase_of(event):
    return {"rows": "frames", "frame": "frames"}.get(event["event"], event["event"])


def events_of(program, scene, options):
    with tempfile.TemporaryDirectory() as folder:
        lines = subprocess.run(
            [program, scene, "--progress", "json", "--quiet", "--output-dir", folder, *options],
            stderr=subprocess.PIPE, text=True, check=True, env=QUIET).stderr
    return [json.loads(line) for line in lines.splitlines() if line.startswith("{")]


def errors_of(events):
    """Of each phase: its processor time, and the relative error of the first estimate behind a
    tenth of it, of frames at the end of one."""
    for phase in ("photons", "frames"):
        own = [event for event in events if phase_of(event) == phase]
        if not own:
            continue
        begin, end = own[0], own[-1]["processor_s"]
        length = end - begin["processor_s"]
        if length < LEAST * events[-1]["processor_s"]:
            continue
        event = next(event for event in own if event["event"] != "rows"
                     and event["processor_s"] - begin["processor_s"] >= SHARE * length)
        if event is own[-1]:
            continue
        processor, elapsed = (event[key] - begin[key] for key in ("processor_s", "elapsed_s"))
        estimate = event["remaining_s"] * processor / elapsed
        yield phase, length, estimate / (end - event["processor_s"]) - 1.0


def main():
    program, *rest = sys.argv[1:]
    end = rest.index("--") if "--" in rest else len(rest)
    scenes, options = rest[:end], rest[end + 1:]
    for scene in scenes:
        for threads in ("1", "2"):
            found = {}
            for _ in range(RUNS):
                for phase, length, error in errors_of(events_of(program, scene,
                                                                ["--threads", threads, *options])):
                    found.setdefault(phase, []).append((100 * error, length))
            for phase, pairs in found.items():
                errors, lengths = zip(*pairs)
                print(f"{os.path.basename(scene):<14} {threads}  {phase:<8} "
                      f"{statistics.median(lengths):6.2f} s {statistics.median(errors):+6.1f} %  "
                      f"({min(errors):+.1f} to {max(errors):+.1f})", flush=True)


if __name__ == "__main__":
    main()
