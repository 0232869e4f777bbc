"""What the live view adds to a render.

usage: live_cost.py PROGRAM SCENE

The thread that renders is measured in instructions of its frames, as callgrind counts them: of
"serve", and of the program alone. The threads beside those that render are measured in processor
time beyond that of the program alone, as a share of what two processors have, without a page and
with one that takes ten whole pictures a second. So other work of the machine hardly matters.
SPDX-License-Identifier: MIT"""
import glob
import os
import shutil
import subprocess
import tempfile
import time

import live_side  # first: it finds the modules of the tests
import live
from live_side import PROGRAM, SCENE, Folder, Live, Stream
from time_left import QUIET, instructions_of

# Of a frame, and with what "serve" adds to it.
ALONE = ("mh::BeginFrame()", "mh::RenderPixels(unsigned int)", "mh::EndFrame()")
SERVED = ("mh::AddViewFrame()", "mh::TakeRequests()")
SIDE = 256  # ten such pictures are the four megabytes that are sent a second
# A path a pixel.
COUNTED = ("--threads", "1", "--resolution", f"{SIDE}x{SIDE}", "--sample", "8", "--gather", "8")
ENDLESS = ("--threads", "2", "--resolution", f"{SIDE}x{SIDE}", "--sample", "65535")
SECONDS, RATE = 20.0, 10  # pictures a second
OPTIONS = ("--seed", "1", "--mode", "path", "--beauty", "beauty.pfm")


class Counted:
    """The program under callgrind, as a program of its own; what is counted is within some
    functions."""

    def __init__(self, functions):
        self.folder = tempfile.mkdtemp()
        self.profile = os.path.join(self.folder, "profile")
        self.program = os.path.join(self.folder, "moonhare")
        toggles = " ".join(f"'--toggle-collect={name}'" for name in functions)
        with open(self.program, "w", encoding="ascii") as script:
            script.write("#!/bin/sh\nexec valgrind -q --tool=callgrind --separate-threads=yes "
                         f"--fair-sched=yes {toggles} --callgrind-out-file={self.profile} "
                         f"{PROGRAM} \"$@\"\n")
        os.chmod(self.program, 0o755)

    def instructions(self):
        """Of the thread that renders."""
        count = instructions_of(self.profile + "-01")
        shutil.rmtree(self.folder)
        return count


def count_alone():
    counted = Counted(ALONE)
    subprocess.run([counted.program, SCENE, *OPTIONS, *COUNTED, "--quiet"], cwd=counted.folder,
                   check=True, stdout=subprocess.DEVNULL, env=QUIET)
    return counted.instructions()


def count_served():
    counted, folder = Counted(SERVED), Folder()
    live.PROGRAM = counted.program
    view = Live(folder, SCENE, *OPTIONS, *COUNTED)
    live.PROGRAM = PROGRAM
    while not os.path.exists(os.path.join(folder.folder, "beauty.pfm")):
        time.sleep(0.02)
    assert view.end() == 0
    shutil.rmtree(folder.folder)
    return counted.instructions()


def processor_seconds(pid):
    """Of each thread, the busiest first."""
    seconds = []
    for path in glob.glob(f"/proc/{pid}/task/*/schedstat"):
        with open(path, encoding="ascii") as line:
            seconds.append(int(line.read().split()[0]) * 1e-9)
    return sorted(seconds, reverse=True)


def take_picture(view):
    """As a page that has nothing yet."""
    stream, pixels = Stream(view), 0
    while pixels < SIDE ** 2:
        stream.read()
        pixels += sum(tile[4] * tile[5] for tile, _ in stream.tiles)
        stream.tiles.clear()
    stream.reply.close()


def share_of_others(pid, act):
    """Threads beside the two that render, of the time of two processors, while act(seconds since)
    goes on."""
    before, start = processor_seconds(pid), time.monotonic()
    while (gone := time.monotonic() - start) < SECONDS:
        act(gone)
    taken = [b - a for a, b in zip(before, processor_seconds(pid))]
    return sum(taken[2:]) / (2 * gone)


def wait(gone):
    time.sleep(SECONDS - gone)


def share_of_program():
    folder = Folder()
    with subprocess.Popen([PROGRAM, SCENE, *OPTIONS, *ENDLESS, "--quiet"],
                          cwd=folder.folder) as process:
        time.sleep(5)
        share = share_of_others(process.pid, wait)
        process.kill()
    shutil.rmtree(folder.folder)
    return share


def shares_of_view():
    """Without a page, and with one."""
    folder, pictures = Folder(), 0
    view = Live(folder, SCENE, *OPTIONS, *ENDLESS)
    view.wait(lambda status: status["frames"] > 3)
    idle = share_of_others(view.process.pid, wait)

    def show(gone):
        nonlocal pictures
        take_picture(view)
        pictures += 1
        time.sleep(max(pictures / RATE - gone, 0.0))

    watched = share_of_others(view.process.pid, show)
    view.end()
    shutil.rmtree(folder.folder)
    return idle, idle + (watched - idle) * RATE * SECONDS / pictures  # a busy machine takes fewer


def main():
    alone = share_of_program()
    idle, watched = (share - alone for share in shares_of_view())
    print(f"threads beside those that render: {100 * idle:+.3f} % without a page, "
          f"{100 * watched:+.2f} % with one", flush=True)
    added = count_served() / count_alone() - 1
    print(f"instructions of the thread that renders: {100 * added:+.3f} %")


main()
