"""How true the time left of the progress is, a tenth of the way through each phase.

usage: time_left.py PROGRAM SCENE... [-- OPTIONS]

Each scene is rendered on one and on two threads under callgrind, whose count of instructions is the clock: other
work of the machine does not touch it. What the progress says, in seconds, counts as many instructions as seconds
of the phase have taken so far. Lines: scene, threads, phase, error in percent.
SPDX-License-Identifier: MIT"""
import glob
import json
import os
import re
import subprocess
import sys
import tempfile

SHARE = 0.1
LEAST = 0.05  # of all instructions, below which nobody waits for a phase
# One dump for each line of the progress; threads that wait take no instructions.
VALGRIND = ("valgrind", "-q", "--tool=callgrind", "--dump-before=mh::JsonLine*")
QUIET = {**os.environ, "OMP_WAIT_POLICY": "passive"}


def phase_of(event):
    return {"rows": "frames", "frame": "frames"}.get(event["event"], event["event"])


def instructions_of(dump):
    with open(dump, encoding="ascii") as lines:
        return next(int(line.split()[1]) for line in lines if re.match("(totals|summary):", line))


def events_of(program, scene, options):
    """Each line of the progress, with the instructions that came before it."""
    with tempfile.TemporaryDirectory() as folder:
        profile = os.path.join(folder, "profile")
        lines = subprocess.run(
            [*VALGRIND, "--callgrind-out-file=" + profile, program, scene, "--progress", "json", "--quiet",
             "--output-dir", folder, *options], stderr=subprocess.PIPE, text=True, check=True, env=QUIET).stderr
        events = [json.loads(line) for line in lines.splitlines() if line.startswith("{")]
        dumps = sorted(glob.glob(profile + ".*"), key=lambda path: int(path.rsplit(".", 1)[1]))
        assert len(dumps) >= len(events), "the dumps are not those of the lines"
        done = 0
        for event, dump in zip(events, dumps):
            done += instructions_of(dump)
            event["instructions"] = done
    return events


def errors_of(events):
    """Phase, and the relative error of the first estimate behind a tenth of it, of frames at the end of one."""
    for phase in ("photons", "frames"):
        own = [event for event in events if phase_of(event) == phase]
        if not own:
            continue
        begin, end = own[0], own[-1]["instructions"]
        length = end - begin["instructions"]
        if length < LEAST * events[-1]["instructions"]:
            continue
        event = next(event for event in own if event["event"] != "rows"
                     and event["instructions"] - begin["instructions"] >= SHARE * length)
        rate = (event["instructions"] - begin["instructions"]) / (event["elapsed_s"] - begin["elapsed_s"])
        yield phase, event["remaining_s"] * rate / (end - event["instructions"]) - 1.0


def main():
    program, *rest = sys.argv[1:]
    scenes, options = (rest[:rest.index("--")], rest[rest.index("--") + 1:]) if "--" in rest else (rest, [])
    for scene in scenes:
        for threads in ("1", "2"):
            events = events_of(program, scene, ["--threads", threads, *options])
            for phase, error in errors_of(events):
                print(f"{os.path.basename(scene):<14} {threads}  {phase:<8} {100 * error:+6.1f} %", flush=True)


if __name__ == "__main__":
    main()
