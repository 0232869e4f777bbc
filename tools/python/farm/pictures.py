"""Merges pieces into pictures: a first one as soon as every strip has a piece, better ones while
the rest comes in, and the last.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import subprocess
import time
from dataclasses import dataclass
from typing import Optional

from .pieces import Plan, covers_picture, share_done
from .worker import find_program, piece_name

GROWTH = 1.5  # of the samples, between two pictures
LONGEST_S = 600.0  # without a new picture
REST_FACTOR = 50.0  # times the last merge: merges take at most a fiftieth of one processor


@dataclass
class Pictures:
    pieces: str  # folder of the pieces
    output_dir: str
    options: list[str]  # of every merge
    process: Optional[subprocess.Popen] = None
    started_s: float = 0.0
    next_s: float = 0.0  # no merge before
    share: float = 0.0  # of the samples, in the last one


def merge_command(pictures: Pictures, plan: Plan) -> list[str]:
    names = [piece_name(piece) for piece in sorted(plan.done)]
    return [find_program(), "merge", *names, "--output-dir", pictures.output_dir, *pictures.options]


def better_pictures(pictures: Pictures, plan: Plan) -> None:
    """Starts and ends merges beside the render."""
    now_s = time.monotonic()
    if pictures.process is not None:
        if pictures.process.poll() is None:
            return
        pictures.process = None
        pictures.next_s = now_s + REST_FACTOR * (now_s - pictures.started_s)
    share = share_done(plan)
    grown = share >= GROWTH * pictures.share or now_s - pictures.started_s > LONGEST_S
    if not covers_picture(plan) or now_s < pictures.next_s or share >= 1.0 or not grown:
        return
    if share == pictures.share:
        return
    pictures.started_s, pictures.share = now_s, share
    pictures.process = subprocess.Popen([*merge_command(pictures, plan), "--allow-gaps"],
                                        cwd=pictures.pieces, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)


def last_picture(pictures: Pictures, plan: Plan, is_whole: bool) -> int:
    """The exit status of the merge; its complaints are shown."""
    if pictures.process is not None:
        pictures.process.wait()
    gaps = [] if is_whole else ["--allow-gaps"]
    return subprocess.run([*merge_command(pictures, plan), *gaps], cwd=pictures.pieces,
                          stdout=subprocess.DEVNULL, check=False).returncode
