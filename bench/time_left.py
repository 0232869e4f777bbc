"""How true the time left of the progress is, a tenth of the way through each phase.

usage: time_left.py PROGRAM SCENE... [-- OPTIONS]

Each scene is rendered on one and on two threads. What the progress says is held against what the phase then
takes, in processor time: seconds of the clock are scaled by the processor time that a second has taken so far,
so that other work of the machine counts for little. Lines: scene, threads, phase, error in percent.
SPDX-License-Identifier: MIT"""
import json
import os
import subprocess
import sys
import tempfile

SHARE = 0.1


def processor_time(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii") as line:
        fields = line.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def phase_of(event):
    return {"rows": "frames", "frame": "frames"}.get(event["event"], event["event"])


def events_of(program, scene, options, folder):
    """Each line of the progress, with the processor time at which it came."""
    command = [program, scene, "--progress", "json", "--quiet", "--output-dir", folder, *options]
    process = subprocess.Popen(command, stderr=subprocess.PIPE, text=True)
    events = []
    for line in process.stderr:
        if line.startswith("{"):
            events.append({**json.loads(line), "processor_s": processor_time(process.pid)})
    process.wait()
    return events


def errors_of(events):
    """Phase, and the relative error of the first estimate behind a tenth of it."""
    for phase in ("photons", "frames"):
        own = [event for event in events if phase_of(event) == phase]
        before = [event for event in events if phase_of(event) not in (phase, "frames")]
        if not own or own[-1]["processor_s"] - own[0]["processor_s"] < 1.0:
            continue
        begin = before[-1] if before else {"elapsed_s": 0.0, "processor_s": 0.0}
        end = own[-1]["processor_s"]
        late = [event for event in own[:-1] if "remaining_s" in event and
                event["processor_s"] - begin["processor_s"] >= SHARE * (end - begin["processor_s"])]
        if not late:
            continue
        event = late[0]
        rate = (event["processor_s"] - begin["processor_s"]) / (event["elapsed_s"] - begin["elapsed_s"])
        left = end - event["processor_s"]
        yield phase, event["remaining_s"] * rate / left - 1.0


def main():
    program, *rest = sys.argv[1:]
    scenes, options = (rest[:rest.index("--")], rest[rest.index("--") + 1:]) if "--" in rest else (rest, [])
    for scene in scenes:
        for threads in ("1", "2"):
            with tempfile.TemporaryDirectory() as folder:
                events = events_of(program, scene, ["--threads", threads, *options], folder)
            for phase, error in errors_of(events):
                print(f"{os.path.basename(scene):<14} {threads}  {phase:<8} {100 * error:+6.1f} %", flush=True)


if __name__ == "__main__":
    main()
