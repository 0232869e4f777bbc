"""The calls that a Dask worker gets. Dask names them by module and function: a worker runs those of
its own installation.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import functools
from typing import Callable

from distributed import get_worker
from distributed.worker import thread_state

from . import worker
from .worker import Outcome, Place


def here() -> Place:
    dask = get_worker()
    key = thread_state.key

    def is_cancelled() -> bool:
        task = dask.state.tasks.get(key)
        return task is None or task.state in ("cancelled", "released")

    return Place(dask.local_directory, dask.state.nthreads, is_cancelled)


def on_this_worker(call: Callable[..., Outcome]) -> Callable[..., Outcome]:
    @functools.wraps(call)
    def with_place(*arguments) -> Outcome:
        outcome = call(here(), *arguments)
        outcome.worker = get_worker().address
        return outcome

    with_place.__module__ = __name__
    return with_place


prepare = on_this_worker(worker.prepare)
store_chunk = on_this_worker(worker.store_chunk)
render_piece = on_this_worker(worker.render_piece)
