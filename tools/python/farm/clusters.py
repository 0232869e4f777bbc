"""Where the workers come from: a scheduler that is running already, or processes of this machine.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import contextlib
import logging
import shutil
import tempfile
from typing import Callable, Iterator

import dask
from distributed import Client, LocalCluster

CONNECT_S = 10.0
# What Dask would otherwise spend on looking at itself, many times a second in each process.
QUIET = {"distributed.worker.profile.enabled": False,
         "distributed.admin.system-monitor.interval": "5s",
         "distributed.logging.distributed": "critical", "distributed.logging.bokeh": "critical"}


def connect_to(address: str) -> Callable[[], Client]:
    """Certificates are those of Dask's own configuration, for addresses that start with tls://."""
    return lambda: Client(address, timeout=CONNECT_S, set_as_default=False)


@contextlib.contextmanager
def local_workers(count: int) -> Iterator[Callable[[], Client]]:
    """Worker processes that listen on the loopback address, and end with this one."""
    folder = tempfile.mkdtemp(prefix="moonhare-farm-")
    logging.getLogger("distributed").setLevel(logging.CRITICAL)
    try:
        with dask.config.set(QUIET), LocalCluster(
                n_workers=count, threads_per_worker=1, host="127.0.0.1", memory_limit=0,
                dashboard_address="127.0.0.1:0", worker_dashboard_address="127.0.0.1:0",
                local_directory=folder) as cluster:
            yield connect_to(cluster.scheduler_address)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
