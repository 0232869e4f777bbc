"""A scene, and its render on a thread of its own so that Ctrl-C and callbacks are served meanwhile.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import dataclasses
import os
import threading
import time
from typing import Any, Callable, Mapping

from .. import functions as mh
from .build import Builder
from .describe import (Camera, GeometryLight, Hair, Instance, Mesh, ParallelLight, Particles,
                       PointLight, Sky, check_render, color_of)
from .pictures import Pictures, take_picture
from .report import Cancelled, Error, Report, Value
from .size import half_diagonal_and_surface

POLL_S = 0.05  # between looks at the progress
LIBRARY = threading.Lock()  # it holds one scene at a time

Shape = Mesh | Hair | Particles | Instance


@dataclasses.dataclass(frozen=True)
class Progress:
    """How far a render is: frames done and wanted, seconds since its start."""
    frame: int
    frames: int
    seconds: float


class Scene:
    """What is rendered: add shapes and lights, set the camera, call render.

    bounces, gather (rays of a point over the run), depth (rays of a path) and photon_depth are the
    renderer's. distance, resolution and radius steer final gathering; None takes fractions of the
    scene's size, and a distance of 0 traces paths. After a render, report has its numbers."""

    def __init__(self, *shapes: Shape | PointLight | ParallelLight, camera: Camera | None = None,
                 sky: Sky | None = None, lamps: GeometryLight | None = None, bounces: int = 1,
                 gather: int = 64, depth: int = 8, photon_depth: int = 8,
                 distance: float | None = None, resolution: float | None = None,
                 radius: float | None = None, clamp: Any = None, noise: float = 0.0,
                 adaptive: bool = False) -> None:
        self.shapes: list[Shape] = []
        self.lights: list[PointLight | ParallelLight] = []
        self.camera = camera or Camera()
        self.sky, self.lamps = sky or Sky(), lamps or GeometryLight()
        self.bounces, self.gather, self.depth = bounces, gather, depth
        self.photon_depth = photon_depth
        self.distance, self.resolution, self.radius = distance, resolution, radius
        self.clamp, self.noise, self.adaptive = clamp, noise, adaptive
        self.report: dict[str, Value] = {}
        self.report_text = ""
        self._job: Job | None = None
        self.add(*shapes)

    def add(self, *things: Shape | PointLight | ParallelLight) -> Scene:
        """Adds shapes and lights; returns the scene."""
        for thing in things:
            if isinstance(thing, (PointLight, ParallelLight)):
                self.lights.append(thing)
            elif isinstance(thing, (Mesh, Hair, Particles, Instance)):
                self.shapes.append(thing)
            else:
                raise TypeError(f"a scene holds no {type(thing).__name__}")
        return self

    def __enter__(self) -> Scene:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Cancels a render and lets go of shapes and lights; pictures stay."""
        self.cancel()
        self.shapes.clear()
        self.lights.clear()

    def cancel(self) -> None:
        """Has a render of this scene return with the frames that are done; from any thread."""
        if job := self._job:
            job.stop()

    def render(self, frames: int = 16, *,
               callback: Callable[[Progress], object] | None = None,
               files: Mapping[str, str | os.PathLike] | None = None) -> Pictures:
        """Renders, and returns the pictures: "beauty" and the camera's aovs, height x width x 3.

        They are arrays over the library's own memory, row 0 at the top, in linear light. callback
        gets the progress as frames get done; what it returns or raises other than None and True
        ends the render, with the frames that are done or with its exception. files names
        pictures to be written too: {"beauty": "room.exr"}. Raises Error in the library's words,
        and KeyboardInterrupt within a second of Ctrl-C."""
        check_render(self.camera, frames, files or {})
        if not LIBRARY.acquire(blocking=False):
            raise Error("another scene is being rendered in this process")
        job = self._job = Job(self, frames, dict(files or {}))
        try:
            job.watch(callback)
        finally:
            self._job = None
            self.report, self.report_text = job.report.values(), job.report.text
        return job.pictures

    def _set_renderer(self) -> None:
        size, surface = half_diagonal_and_surface(self.shapes)
        mh.mhSetRendererSample(self.gather)
        mh.mhSetRendererBounce(self.bounces)
        mh.mhSetRendererRayDepth(self.depth)
        mh.mhSetRendererPhotonDepth(self.photon_depth)
        mh.mhSetRendererDistance(0.15 * size if self.distance is None else self.distance)
        mh.mhSetRendererResolution(surface / 1e4 if self.resolution is None else self.resolution)
        mh.mhSetRendererRadius(0.02 * size if self.radius is None else self.radius)
        mh.mhSetRendererNoise(self.noise)
        mh.mhSetRendererAdaptive(self.adaptive)
        if self.clamp is not None:
            mh.mhSetRendererClamp(*color_of(self.clamp, "clamp"))


class Job:
    """One render of a scene: the library's thread, and what it gives."""

    def __init__(self, scene: Scene, frames: int, files: dict[str, Any]) -> None:
        self.scene, self.frames, self.files = scene, frames, files
        self.report = Report()
        self.pictures: Pictures = {}
        self.fault: BaseException | None = None
        self.stopped = self.in_frames = False
        self.done = self.notified = 0  # frames; what the callback has heard of
        self.ended = threading.Event()  # a join that Ctrl-C interrupts takes the thread for ended
        self.started = time.monotonic()

    def stop(self) -> None:
        self.stopped = True
        mh.mhRequestStop()

    def run(self) -> None:
        """All calls of the library; the lock is free again once it has ended."""
        try:
            mh.mhKeepReport(True)
            mh.mhStartup()
            if self.stopped:
                mh.mhRequestStop()  # once more: the start has forgotten it
            try:
                self.render()
            finally:
                mh.mhFinalize()
                mh.mhShutdown()
        except BaseException as fault:
            self.fault = fault
        finally:
            try:
                self.report.check(hint=1)
            except Error as fault:
                self.fault = self.fault or fault
            mh.mhKeepReport(False)
            LIBRARY.release()
            self.ended.set()

    def render(self) -> None:
        camera = self.scene.camera
        self.scene._set_renderer()
        Builder(self.scene).all(camera, self.frames, self.files)
        self.report.check()
        mh.mhInitialize()
        self.report.check()
        self.in_frames = True
        mh.mhRender()
        self.done = mh.mhGetFrameCount()
        if self.done == 0:
            raise Cancelled("the render was ended before its first frame")
        for aov, name in enumerate(("beauty", *camera.aovs)):
            self.pictures[name] = take_picture(0, aov)

    def notify(self, callback: Callable[[Progress], object] | None) -> None:
        """Calls back if frames were done since the last time; ends the render if that asks so."""
        done = self.done if self.ended.is_set() else mh.mhGetFrameCount()
        if callback is None or not self.in_frames or done <= self.notified:
            return
        self.notified = done
        seconds = time.monotonic() - self.started
        if callback(Progress(done, self.frames, seconds)) not in (None, True):
            self.stop()

    def watch(self, callback: Callable[[Progress], object] | None) -> None:
        """Waits, with an open ear for Ctrl-C; raises what the render has raised."""
        threading.Thread(target=self.run, name="moonhare").start()
        try:
            while not self.ended.wait(POLL_S):
                self.notify(callback)
            self.notify(callback)
        except BaseException:
            self.stop()
            self.ended.wait()
            raise
        if self.fault is not None:
            raise self.fault
