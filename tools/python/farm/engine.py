"""Has a Dask cluster render the pieces of a plan. Dask moves calls and results; what is rendered
next and what is tried again is decided in pieces.py. Workers may join, leave and die at any time.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import concurrent.futures
import contextlib
import os
import sys
import threading
import time
import uuid
from dataclasses import dataclass, field
from typing import Callable, Optional

from distributed import CancelledError, Client, Future

from . import dask_calls, pieces, scene_pack
from .pieces import Attempt, Plan
from .worker import Job, Outcome, piece_name

POLL_S = 0.05
MEMBERS_S = 1.0  # between two looks at which workers there are
FAULTS_OF_WORKER = 3  # in a row; then it gets no more pieces
FAULTS_IN_A_ROW = 12  # of all workers, without one piece that is done: nothing will come
USERS_FAULTS = (1, 2)  # statuses for faults of scene and options, which are the same everywhere
LIMIT_FACTOR, SHORTEST_LIMIT_S = 30.0, 900.0  # a piece that takes longer hangs
CLOSE_S = 5.0
PATIENCE_S = 600.0  # without a scheduler, or for an answer
REPLACEMENT_S = 30.0  # until an engine has started a worker again
SENDERS = 4  # workers that get the scene at the same time
PACKING = threading.Lock()


class FarmFault(Exception):
    """The render cannot go on; the text says why."""


@dataclass
class Member:
    """A worker, from the first look at it to its end."""
    slots: int
    is_ready: bool = False
    preparing: Optional[Future] = None
    sending: Optional[concurrent.futures.Future] = None
    faults: int = 0
    is_left_out: bool = False


@dataclass
class Run:
    future: Future
    workers: frozenset[str]


@dataclass
class Farm:
    connect: Callable[[], Client]
    client: Client
    members: dict[str, Member] = field(default_factory=dict)
    looked_s: float = -MEMBERS_S
    alone_since_s: Optional[float] = None  # without a worker that can take pieces
    runs: dict[Attempt, Run] = field(default_factory=dict)
    senders: concurrent.futures.ThreadPoolExecutor = field(
        default_factory=lambda: concurrent.futures.ThreadPoolExecutor(SENDERS))


def say(text: str) -> None:
    print(f"\nmoonhare farm: {text}" if sys.stderr.isatty() else f"moonhare farm: {text}",
          file=sys.stderr, flush=True)


def open_farm(connect: Callable[[], Client]) -> Farm:
    return Farm(connect, connect())


def slots_of(farm: Farm) -> int:
    return sum(member.slots for member in farm.members.values() if member.is_ready)


def submit(farm: Farm, call: Callable[..., Outcome], *arguments, workers) -> Future:
    """Each call has a key of its own: Dask would take a second run of a piece for the first."""
    key = f"moonhare-{call.__name__}-{uuid.uuid4().hex}"
    return farm.client.submit(call, *arguments, key=key, workers=list(workers), pure=False)


def render_plan(farm: Farm, job: Job, plan: Plan, on_progress: Callable[[Plan], None]) -> None:
    """Returns when all pieces of the plan are in the job's folder."""
    while not pieces.is_complete(plan):
        keep_connected(farm, plan)
        try:
            look_at_members(farm, job)
            start_pieces(farm, job, plan)
        except (OSError, CancelledError):  # the connection; seen again by the next turn
            time.sleep(MEMBERS_S)
        collect_pieces(farm, job, plan)
        on_progress(plan)
        time.sleep(POLL_S)


def keep_connected(farm: Farm, plan: Plan) -> None:
    """After a loss of the scheduler all that was asked for is asked for again."""
    if farm.client.status in ("running", "newly-created"):
        return
    say("the connection to the scheduler is lost; trying again")
    for attempt in list(farm.runs):
        pieces.attempt_lost(plan, attempt)
    plan.lost_in_a_row = 0
    farm.runs.clear()
    farm.members.clear()
    close_client(farm)
    given_up_s = time.monotonic() + PATIENCE_S
    while True:
        try:
            farm.client = farm.connect()
            say("connected again")
            return
        except OSError as fault:
            if time.monotonic() > given_up_s:
                raise FarmFault(f"no scheduler for {PATIENCE_S:.0f} s: {fault}") from None
            time.sleep(MEMBERS_S)


def look_at_members(farm: Farm, job: Job) -> None:
    """Workers that came are prepared, those that went are forgotten."""
    if time.monotonic() - farm.looked_s >= MEMBERS_S:
        workers = farm.client.scheduler_info()["workers"]
        farm.looked_s = time.monotonic()
        farm.members = {address: farm.members.get(address) or Member(info["nthreads"])
                        for address, info in workers.items()}
    for address, member in farm.members.items():
        if not (member.is_ready or member.is_left_out):
            prepare_member(farm, job, address, member)
    wait_for_members(farm)


def wait_for_members(farm: Farm) -> None:
    """Workers may come later; where those that are there failed, others get a while for it."""
    if not all(member.is_left_out for member in farm.members.values()):
        farm.alone_since_s = None
        return
    if farm.alone_since_s is None:
        farm.alone_since_s = time.monotonic()
        say("waiting for workers")
    if farm.members and time.monotonic() - farm.alone_since_s > REPLACEMENT_S:
        raise FarmFault("every worker failed")


def prepare_member(farm: Farm, job: Job, address: str, member: Member) -> None:
    """One step of: is it there already, or else send it, and ask again."""
    if member.sending is not None:
        if not member.sending.done():
            return
        fault = member.sending.exception()
        member.sending = None
        if fault is not None:
            return leave_out(address, member, f"the scene cannot be sent: {fault}")
    if member.preparing is None:
        member.preparing = submit(farm, dask_calls.prepare, job, workers=[address])
    if not member.preparing.done():
        return
    outcome = result_of(member.preparing)
    member.preparing = None
    if outcome is None:
        return
    if outcome.scene_missing:
        member.sending = farm.senders.submit(send_scene, farm, job, address)
    elif outcome.status in USERS_FAULTS and not slots_of(farm):
        raise FarmFault(outcome.fault)
    elif outcome.fault:
        leave_out(address, member, outcome.fault)
    else:
        member.is_ready = True


def send_scene(farm: Farm, job: Job, address: str) -> None:
    archive = os.path.join(job.pieces, "scene.zip")
    with PACKING:
        if not os.path.exists(archive):
            scene_pack.pack_scene(job.scene, archive)
    offset, size = 0, os.path.getsize(archive)
    for chunk in scene_pack.chunks_of(archive):
        outcome = submit(farm, dask_calls.store_chunk, job, offset, chunk,
                         offset + len(chunk) == size, workers=[address]).result(PATIENCE_S)
        if outcome.fault:
            raise FarmFault(outcome.fault)
        offset += len(chunk)


def leave_out(address: str, member: Member, fault: str) -> None:
    say(f"no more pieces for worker {address}: {fault}")
    member.is_ready, member.is_left_out = False, True


def start_pieces(farm: Farm, job: Job, plan: Plan) -> None:
    workers = frozenset(address for address, member in farm.members.items() if member.is_ready)
    slots = slots_of(farm)
    while len(farm.runs) < slots:
        attempt = pieces.next_attempt(plan, time.monotonic(), slots)
        if attempt is None:
            return
        limit_s = attempt.expected_s and max(SHORTEST_LIMIT_S, LIMIT_FACTOR * attempt.expected_s)
        strip = plan.strips[attempt.piece.strip]
        try:
            future = submit(farm, dask_calls.render_piece, job, strip, attempt.piece, limit_s,
                            workers=workers)
        except BaseException:
            pieces.attempt_lost(plan, attempt)
            raise
        farm.runs[attempt] = Run(future, workers)


def collect_pieces(farm: Farm, job: Job, plan: Plan) -> None:
    for attempt, run in list(farm.runs.items()):
        if attempt not in farm.runs:  # another one at the same piece was first
            continue
        if run.future.done():
            del farm.runs[attempt]
            take_outcome(farm, job, plan, attempt, result_of(run.future))
        elif run.workers.isdisjoint(farm.members):  # all that were allowed have left
            del farm.runs[attempt]
            drop(run.future)
            pieces.attempt_lost(plan, attempt)


def result_of(future: Future) -> Optional[Outcome]:
    """Nothing where worker or connection went away; a fault where the call itself failed."""
    try:
        return future.result(timeout=PATIENCE_S)
    except (OSError, CancelledError):
        return None
    except Exception as fault:  # whatever the worker's Python or Dask raised
        return Outcome(f"{type(fault).__name__}: {fault}")


def drop(future: Future) -> None:
    with contextlib.suppress(OSError):
        future.cancel()


def take_outcome(farm: Farm, job: Job, plan: Plan, attempt: Attempt,
                 outcome: Optional[Outcome]) -> None:
    member = farm.members.get(outcome.worker) if outcome else None
    if outcome is None or outcome.scene_missing:
        pieces.attempt_lost(plan, attempt)
        if member is not None:  # started again at the same address
            member.is_ready = False
        return
    if outcome.fault:
        pieces.attempt_lost(plan, attempt)
        count_fault(outcome, member, plan)
        return
    if outcome.data is not None:
        store_piece(job, attempt, outcome.data)
    if member is not None:
        member.faults = 0
    for other in pieces.attempt_done(plan, attempt, outcome.frames_s, outcome.start_s):
        drop(farm.runs.pop(other).future)


def store_piece(job: Job, attempt: Attempt, data: bytes) -> None:
    path = os.path.join(job.pieces, piece_name(attempt.piece))
    with open(path + ".new", "wb") as file:
        file.write(data)
    os.replace(path + ".new", path)


def count_fault(outcome: Outcome, member: Optional[Member], plan: Plan) -> None:
    if outcome.status in USERS_FAULTS and not plan.done:
        raise FarmFault(outcome.fault)
    say(f"a piece is tried again: {outcome.worker or 'Dask'}: {outcome.fault}")
    if plan.lost_in_a_row >= FAULTS_IN_A_ROW:
        raise FarmFault(f"{FAULTS_IN_A_ROW} pieces in a row failed")
    if member is not None:
        member.faults += 1
        if member.faults >= FAULTS_OF_WORKER and not member.is_left_out:
            leave_out(outcome.worker, member, f"{member.faults} faults in a row")


def close_farm(farm: Farm) -> None:
    """Workers end what they still do for it."""
    for run in farm.runs.values():
        drop(run.future)
    farm.senders.shutdown(wait=False, cancel_futures=True)
    close_client(farm)


def close_client(farm: Farm) -> None:
    with contextlib.suppress(OSError):  # of a connection that is gone
        farm.client.close(timeout=CLOSE_S)
