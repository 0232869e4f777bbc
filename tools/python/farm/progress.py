"""One line about a render under way: how much is in, who works, how long it takes.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import sys
import time
from dataclasses import dataclass, field

from .pieces import Plan, seconds_left, share_done

BAR_CELLS = 30
BAR_S = 0.5  # between two states of the bar
PLAIN_STEP = 0.1  # of the samples, between two plain lines


@dataclass
class Progress:
    form: str  # bar, plain, none
    frames: int
    started_s: float = field(default_factory=time.monotonic)
    shown_s: float = 0.0
    shown_share: float = -PLAIN_STEP


def clock(seconds: float) -> str:
    minutes, rest = divmod(int(seconds + 0.5), 60)
    hours, minutes = divmod(minutes, 60)
    return f"{hours}:{minutes:02}:{rest:02}" if hours else f"{minutes}:{rest:02}"


def time_left_s(plan: Plan, slots: int, now_s: float) -> float:
    running = sum(max(0.0, (a.expected_s or 0.0) - (now_s - a.started_s)) for a in plan.running)
    return (seconds_left(plan) + running) / max(1, slots)


def line(progress: Progress, plan: Plan, workers: int, slots: int) -> str:
    now_s, share = time.monotonic(), share_done(plan)
    left = f", {clock(time_left_s(plan, slots, now_s))} left" if share > 0.0 and workers else ""
    return (f"{100 * share:3.0f} %, {share * progress.frames:.1f} of {progress.frames} samples a "
            f"pixel, {workers} worker{'' if workers == 1 else 's'}, "
            f"{clock(now_s - progress.started_s)} gone{left}")


def show(progress: Progress, plan: Plan, workers: int, slots: int, is_last: bool = False) -> None:
    now_s, share = time.monotonic(), share_done(plan)
    is_new = share >= progress.shown_share + PLAIN_STEP or is_last and share > progress.shown_share
    if progress.form == "plain" and is_new:
        progress.shown_share = share
        print(line(progress, plan, workers, slots), file=sys.stderr, flush=True)
    if progress.form == "bar" and (now_s >= progress.shown_s + BAR_S or is_last):
        progress.shown_s = now_s
        full = int(BAR_CELLS * share)
        print(f"\r[{'#' * full}{'-' * (BAR_CELLS - full)}] {line(progress, plan, workers, slots)} ",
              end="\n" if is_last else "", file=sys.stderr, flush=True)
