"""Which frames of which strip are still to be rendered, how many of them make the next piece, and
what is tried again. Knows no engine and no clock: the farm and its simulation drive the same code.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import math
from collections import Counter
from dataclasses import dataclass, field
from typing import Iterable, Optional

PIECE_S = 60.0  # what a piece should take: long against its start, short against what a kill loses
STARTS_PER_PIECE = 9.0  # a start is at most a tenth of a piece, however long it takes
# A piece is at most what is left for its slot, divided by the ratio of the slowest and the fastest
# worker, so that all end together; between these.
LEAST_SHARES, MOST_SHARES = 1.25, 2.0
STARTS_AT_THE_END = 4.0  # below so many starts a piece costs more than it saves at the end
LEAST_S = 3.0  # the same for its file, which may take half a second to reach the disk
FRAME_S = 20.0  # a frame of a strip takes no longer, so that pieces can be sized by frames
STRIP_PIXELS = 1 << 22  # keeps the memory of a merge small
STRIP_ROWS = 8  # thinner strips are all start and no render
FRAMES_PER_SLOT = 16  # at least so many units of work for a slot, however few frames there are
LATE = 1.5  # times the expected time: a piece is tried elsewhere as well

Region = tuple[int, int, int, int]  # columns x0 to x1 - 1, rows y0 to y1 - 1


@dataclass(frozen=True)
class Strip:
    """Rows of the picture over all of its frames."""
    frames: int
    region: Region

    @property
    def pixels(self) -> int:
        x0, y0, x1, y1 = self.region
        return (x1 - x0) * (y1 - y0)


@dataclass(frozen=True, order=True)
class Piece:
    """Frames first to end - 1 of a strip."""
    strip: int
    first: int
    end: int

    @property
    def frames(self) -> int:
        return self.end - self.first


@dataclass(eq=False)
class Attempt:
    """One run of a piece. Pieces are safe to repeat, so that a second run of one is no fault."""
    piece: Piece
    started_s: float
    expected_s: Optional[float]  # None before anything was timed


@dataclass
class Plan:
    strips: list[Strip]
    seconds_a_pixel: float = 0.0  # of one frame, by the first timed piece; 0: unknown
    start_s: float = 0.0  # mean time from the start of a piece to its first frame
    gaps: list[list[tuple[int, int]]] = field(default_factory=list)  # of each strip, sorted
    timed: list[tuple[float, int]] = field(default_factory=list)  # of each strip: seconds, frames
    running: list[Attempt] = field(default_factory=list)
    done: set[Piece] = field(default_factory=set)
    rates: tuple[float, float] = (math.inf, 0.0)  # least and greatest seconds a pixel of a frame
    lost_in_a_row: int = 0


def split_picture(frames: int, region: Region, slots: int, seconds_a_pixel: float) -> list[Strip]:
    """Strips of rows, as many as memory, the cost of a frame and the number of slots ask for."""
    x0, y0, x1, y1 = region
    rows, pixels = y1 - y0, (x1 - x0) * (y1 - y0)
    count = max(math.ceil(pixels / STRIP_PIXELS), math.ceil(pixels * seconds_a_pixel / FRAME_S),
                math.ceil(FRAMES_PER_SLOT * slots / frames))
    count = max(1, min(count, rows // STRIP_ROWS))
    edges = [y0 + rows * i // count for i in range(count + 1)]
    return [Strip(frames, (x0, above, x1, below)) for above, below in zip(edges, edges[1:])]


def make_plan(strips: list[Strip], seconds_a_pixel: float = 0.0, start_s: float = 0.0) -> Plan:
    return Plan(strips, seconds_a_pixel, start_s, [[(0, strip.frames)] for strip in strips],
                [(0.0, 0) for _ in strips])


def is_complete(plan: Plan) -> bool:
    return not plan.running and not any(plan.gaps)


def seconds_a_frame(plan: Plan, strip: int) -> float:
    """By what was timed in the strip, or else by the mean of all; 0: unknown."""
    seconds, frames = plan.timed[strip]
    if frames > 0:
        return seconds / frames
    work = sum(plan.strips[i].pixels * frames for i, (_, frames) in enumerate(plan.timed))
    mean = sum(seconds for seconds, _ in plan.timed) / work if work > 0 else plan.seconds_a_pixel
    return mean * plan.strips[strip].pixels


def frames_left(plan: Plan, strip: int) -> int:
    return sum(end - first for first, end in plan.gaps[strip])


def seconds_left(plan: Plan) -> float:
    """Of one slot, for all that no attempt has taken."""
    return sum(frames_left(plan, i) * seconds_a_frame(plan, i) for i in range(len(plan.strips)))


def shares(plan: Plan) -> float:
    least, greatest = plan.rates
    if greatest <= least:
        return MOST_SHARES
    return max(LEAST_SHARES, min(greatest / least, MOST_SHARES))


def piece_frames(plan: Plan, strip: int, slots: int) -> int:
    """As many as take a minute; fewer when little is left, so that all slots end together."""
    seconds = seconds_a_frame(plan, strip)
    if seconds <= 0.0:
        return 1
    share = seconds_left(plan) / (shares(plan) * max(1, slots))
    target = min(max(PIECE_S, STARTS_PER_PIECE * plan.start_s),
                 max(share, STARTS_AT_THE_END * plan.start_s, LEAST_S))
    return max(1, int(target / seconds))


def next_attempt(plan: Plan, now_s: float, slots: int) -> Optional[Attempt]:
    """What a free slot does next: frames that nobody has, or else a piece that is late."""
    strip = max(range(len(plan.strips)), key=lambda i: frames_left(plan, i) / plan.strips[i].frames)
    if plan.gaps[strip]:
        piece = take_piece(plan, strip, piece_frames(plan, strip, slots))
    else:
        late = late_piece(plan, now_s)
        if late is None:
            return None
        piece = late
    seconds = seconds_a_frame(plan, piece.strip)
    expected_s = plan.start_s + piece.frames * seconds if seconds > 0.0 else None
    attempt = Attempt(piece, now_s, expected_s)
    plan.running.append(attempt)
    return attempt


def take_piece(plan: Plan, strip: int, frames: int) -> Piece:
    first, end = plan.gaps[strip].pop(0)
    cut = min(end, first + frames)
    if cut < end:
        plan.gaps[strip].insert(0, (cut, end))
    return Piece(strip, first, cut)


def late_piece(plan: Plan, now_s: float) -> Optional[Piece]:
    """The piece that is furthest behind, unless it already has a second run."""
    runs = Counter(attempt.piece for attempt in plan.running)
    late = [((now_s - attempt.started_s) / attempt.expected_s, attempt.piece)
            for attempt in plan.running if attempt.expected_s and runs[attempt.piece] == 1]
    lateness, piece = max(late, default=(0.0, None))
    return piece if lateness > LATE else None


def runs_of(plan: Plan, piece: Piece) -> int:
    return sum(attempt.piece == piece for attempt in plan.running)


def attempt_done(plan: Plan, attempt: Attempt, frames_s: Optional[float] = None,
                 start_s: Optional[float] = None) -> list[Attempt]:
    """The attempts at the same piece that nobody needs any more. frames_s and start_s: seconds of
    all frames and of what came before them; None for a piece that was found whole."""
    others = [a for a in plan.running if a.piece == attempt.piece and a is not attempt]
    plan.running = [a for a in plan.running if a.piece != attempt.piece]
    plan.done.add(attempt.piece)
    plan.lost_in_a_row = 0
    if frames_s is not None:
        seconds, frames = plan.timed[attempt.piece.strip]
        plan.timed[attempt.piece.strip] = (seconds + frames_s, frames + attempt.piece.frames)
        if frames_s >= LEAST_S:
            rate = frames_s / (attempt.piece.frames * plan.strips[attempt.piece.strip].pixels)
            plan.rates = (min(plan.rates[0], rate), max(plan.rates[1], rate))
    if start_s is not None:
        pieces = len(plan.done)
        plan.start_s += (start_s - plan.start_s) / pieces
    return others


def attempt_lost(plan: Plan, attempt: Attempt) -> None:
    """Its frames are to be rendered again, unless another attempt at them goes on."""
    plan.running.remove(attempt)
    plan.lost_in_a_row += 1
    piece = attempt.piece
    if runs_of(plan, piece) == 0:
        put_back(plan.gaps[piece.strip], piece.first, piece.end)


def put_back(gaps: list[tuple[int, int]], first: int, end: int) -> None:
    """Adds frames to the gaps of a strip; neighbours become one."""
    gaps.append((first, end))
    gaps.sort()
    joined: list[tuple[int, int]] = []
    for gap in gaps:
        if joined and joined[-1][1] == gap[0]:
            joined[-1] = (joined[-1][0], gap[1])
        else:
            joined.append(gap)
    gaps[:] = joined


def keep_done(plan: Plan, pieces: Iterable[Piece]) -> None:
    """Pieces that an earlier run has left; one that overlaps others is not counted."""
    for piece in sorted(pieces):
        if piece.strip >= len(plan.strips):
            continue
        gaps = plan.gaps[piece.strip]
        around = next((g for g in gaps if g[0] <= piece.first < piece.end <= g[1]), None)
        if around is None:
            continue
        gaps.remove(around)
        for first, end in ((around[0], piece.first), (piece.end, around[1])):
            if first < end:
                put_back(gaps, first, end)
        plan.done.add(piece)


def share_done(plan: Plan) -> float:
    """Of all samples, from 0 to 1."""
    work = sum(strip.pixels * strip.frames for strip in plan.strips)
    return sum(piece.frames * plan.strips[piece.strip].pixels for piece in plan.done) / work


def covers_picture(plan: Plan) -> bool:
    """Whether every strip has a piece, so that a merged picture has no hole."""
    return len({piece.strip for piece in plan.done}) == len(plan.strips)
