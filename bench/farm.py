"""Replays renders of many workers against the code that splits them, without rendering: how long
the run takes beside one in which every worker is busy to the end and nothing fails.
usage: farm.py BUILD_DIRECTORY [WORKERS...]
SPDX-License-Identifier: MIT"""
import heapq
import random
import sys

PIXELS, FRAMES = 3840 * 2160, 4096
MINUTES = 20  # of the ideal run
START_S = 2.0  # of a piece, on the slowest worker
DYING = 0.05  # of pieces, at any moment of their run
SPEEDS = (1.0, 4.0)
SEEDS = 5


class Trial:
    """One run. Workers differ in speed; some pieces die in the middle."""

    def __init__(self, pieces, workers, seed):
        self.pieces, self.random = pieces, random.Random(seed)
        self.speeds = [self.random.uniform(*SPEEDS) for _ in range(workers)]
        self.ideal_s = MINUTES * 60.0
        self.pixel_s = self.ideal_s * sum(self.speeds) / (PIXELS * FRAMES)  # on the slowest worker
        mean = sum(self.speeds) / workers
        strips = pieces.split_picture(FRAMES, (0, 0, 3840, 2160), workers, self.pixel_s / mean)
        self.plan = pieces.make_plan(strips, self.pixel_s / mean, START_S / mean)
        self.frames_merged = [[0] * strip.frames for strip in strips]
        self.events, self.count = [], 0  # (time, number, worker, attempt, seconds; None: it dies)
        self.idle = list(range(workers))
        self.merged = self.lost = self.repeated = 0

    def start(self, now, worker):
        """Whether there was something to do."""
        attempt = self.pieces.next_attempt(self.plan, now, len(self.speeds))
        if attempt is None:
            return False
        strip = self.plan.strips[attempt.piece.strip]
        self.repeated += self.pieces.runs_of(self.plan, attempt.piece) > 1
        start = START_S / self.speeds[worker]
        frames = attempt.piece.frames * strip.pixels * self.pixel_s / self.speeds[worker]
        dies = self.random.random() < DYING
        length = (start + frames) * (self.random.random() if dies else 1.0)
        self.count += 1
        heapq.heappush(self.events, (now + length, self.count, worker, attempt,
                                     None if dies else (frames, start)))
        return True

    def end(self, attempt, seconds):
        if attempt not in self.plan.running:  # another attempt was first
            return
        if seconds is None:
            self.lost += 1
            self.pieces.attempt_lost(self.plan, attempt)
            return
        dropped = self.pieces.attempt_done(self.plan, attempt, *seconds)
        self.cancel(dropped)
        self.merged += 1
        for frame in range(attempt.piece.first, attempt.piece.end):
            self.frames_merged[attempt.piece.strip][frame] += 1

    def cancel(self, dropped):
        self.idle += [worker for _, _, worker, attempt, _ in self.events if attempt in dropped]
        self.events = [event for event in self.events if event[3] not in dropped]
        heapq.heapify(self.events)

    def run(self):
        """Seconds until the last piece is in."""
        now = 0.0
        while not self.pieces.is_complete(self.plan):
            while self.idle and self.start(now, self.idle[-1]):
                self.idle.pop()
            if not self.events:
                raise RuntimeError("frames are left, and no worker takes them")
            now, _, worker, attempt, seconds = heapq.heappop(self.events)
            self.idle.append(worker)
            self.end(attempt, seconds)
        if any(times != 1 for strip in self.frames_merged for times in strip):
            raise RuntimeError("a frame was lost, or merged twice")
        return now


def row(pieces, workers):
    """Of the trials with other seeds, the one of the least efficiency."""
    trials = []
    for seed in range(SEEDS):
        trial = Trial(pieces, workers, seed)
        trials.append((trial.ideal_s / trial.run(), seed, trial))
    return min(trials)


def main():
    sys.path.insert(0, sys.argv[1] + "/python")
    from moonhare.farm import pieces

    print("| workers | strips | pieces merged | died | tried twice at the end | efficiency |")
    print("|---|---|---|---|---|---|")
    for workers in [int(text) for text in sys.argv[2:]] or [10, 100, 200, 1000]:
        efficiency, _, trial = row(pieces, workers)
        print(f"| {workers} | {len(trial.plan.strips)} | {trial.merged} | {trial.lost} | "
              f"{trial.repeated} | {100 * efficiency:.1f} % |", flush=True)
        if efficiency < 0.9:
            sys.exit("below 90 % of the ideal")


if __name__ == "__main__":
    main()
