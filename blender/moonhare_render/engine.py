"""The render engine: exports the scene, runs the program, shows its pictures while they grow.
SPDX-License-Identifier: MIT"""
import os
import shutil
import signal
import tempfile
import time

import bpy

from . import compat, passes
from .camera import frame_part
from .export import export
from .moonhare_scene import Scene
from .preferences import program_path
from .process import INTERRUPTED, Run, resident_bytes
from .report import Report

CHECKED = "; moonhare check "  # is in the line with the numbers of faults and warnings
POLL = 0.1  # seconds between two looks at Blender's wish to cancel
kept = {}  # scene directories by the name of the scene, for the next frame


class Failure(Exception):
    """Ends a render with one line."""


def directory_for(scene, is_kept):
    """A scene directory of this session; the one of the last frame where data is kept."""
    found = kept.get(scene.name)
    if found and is_kept and os.path.isdir(found.path):
        found.restart()
        return found
    forget(scene.name)
    parent = tempfile.mkdtemp(prefix="moonhare_", dir=bpy.app.tempdir or None)
    kept[scene.name] = Scene(os.path.join(parent, "scene"))
    return kept[scene.name]


def forget(*names):
    for name in names or list(kept):
        if name in kept:
            shutil.rmtree(os.path.dirname(kept.pop(name).path), ignore_errors=True)


def options_of(settings, render):
    options = ["--beauty", passes.BEAUTY]
    threads = settings.threads or (render.threads if render.threads_mode == "FIXED" else 0)
    if threads:
        options += ["--threads", str(threads)]
    if settings.adaptive:
        options.append("--adaptive")
    if settings.noise > 0:
        options += ["--noise", f"{settings.noise:g}"]
    return options


class MoonhareRenderEngine(bpy.types.RenderEngine):
    """Renders with the program moonhare."""
    bl_idname = "MOONHARE"
    bl_label = "moonhare"
    bl_use_preview = False
    bl_use_shading_nodes_custom = False
    bl_use_spherical_stereo = False

    def update(self, data=None, depsgraph=None):
        pass

    def update_render_passes(self, scene=None, renderlayer=None):
        self.register_pass(scene, renderlayer, "Combined", 4, "RGBA", "COLOR")
        lamps = passes.lamp_names(scene)
        for wanted in passes.wanted_passes(renderlayer, scene.moonhare, lamps):
            self.register_pass(scene, renderlayer, wanted.name, len(wanted.channels),
                               wanted.channels, wanted.kind)

    def render(self, depsgraph):
        report, has_picture = Report(), False
        try:
            has_picture = self.render_layer(depsgraph, report)
        except Failure as failure:
            report.error(failure)
        except OSError as error:
            report.error(f"the scene cannot be written: {error}")
        except MemoryError:
            report.error("memory ran out")
        except Exception as error:  # a fault of ours is one line, too
            report.error(f"internal fault: {type(error).__name__}: {error}")
        if not has_picture:
            self.show_nothing(depsgraph)
        report.publish()
        if report.errors:
            self.error_set("moonhare: " + report.errors[0])
        elif report.notes:
            self.report({"WARNING"}, f"moonhare: {len(report.notes)} notes, see the text "
                                     '"moonhare report"')

    def is_unwanted(self):
        """Whether the user has cancelled."""
        return self.test_break()

    def show_nothing(self, depsgraph):
        """A result without light: without any, Blender 3.4 crashes when it writes OpenEXR."""
        x0, y0, x1, y1 = frame_part(depsgraph.scene.render)
        self.end_result(self.begin_result(0, 0, x1 - x0, y1 - y0,
                                          layer=depsgraph.view_layer_eval.name))

    def render_layer(self, depsgraph, report):
        scene = depsgraph.scene
        program = program_path()
        if not program:
            raise Failure("the program moonhare is not found; "
                          "the preferences of the add-on name it")
        self.update_stats("", "moonhare: writing the scene")
        started = time.monotonic()
        directory = directory_for(scene, scene.render.use_persistent_data)
        job = export(depsgraph, directory, scene.moonhare, report, link=os.name == "posix")
        if job is None:
            return False
        report.fact(f"scene written in {time.monotonic() - started:.2f} s")
        folder = os.path.join(os.path.dirname(directory.path), "out")
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        for wanted in job.passes:
            self.add_pass(wanted.name, len(wanted.channels), wanted.channels,
                          layer=depsgraph.view_layer_eval.name)
        run = Run(program, directory.path, folder, options_of(scene.moonhare, scene.render))
        try:
            return self.follow(run, Shown(self, job, folder, depsgraph.view_layer_eval.name),
                               report)
        finally:
            if run.is_alive:
                run.end()

    def follow(self, run, shown, report):
        """Until the end of the process: progress, pictures, and Blender's wish to cancel. False
        where there is no picture."""
        while run.is_alive:
            event = run.next_event(POLL)
            if self.is_unwanted():
                run.end()
                break
            if event:
                self.show_progress(event, run)
                if is_power_of_two(event.get("frame", 0)):
                    run.write_pictures()
            shown.update()
        status = run.close()
        has_picture = shown.finish()
        explain(status, run, has_picture, self.is_unwanted(), report)
        return has_picture

    def show_progress(self, event, run):
        """Bar, time left and memory."""
        memory = event.get("memory_bytes") or resident_bytes(run.process.pid) or 0
        self.update_memory_stats(memory_used=memory / 2 ** 20)
        if event.get("event") == "photons":
            self.update_stats("", f"moonhare: photons, {event.get('percent', 0)} %")
        elif event.get("event") == "frame":
            self.update_progress(event.get("percent", 0) / 100)
            left = event.get("remaining_s") or 0
            self.update_stats(f"Remaining: {clock(left)} | Memory: {memory / 2 ** 20:.0f} MB",
                              f"moonhare: frame {event.get('frame')} of {event.get('frames')}")


def clock(seconds):
    minutes, rest = divmod(int(seconds + 0.5), 60)
    hours, minutes = divmod(minutes, 60)
    return f"{hours}:{minutes:02}:{rest:02}" if hours else f"{minutes}:{rest:02}"


def is_power_of_two(number):
    return number > 0 and number & (number - 1) == 0


def explain(status, run, has_picture, is_cancelled, report):
    """The end of the process as a line, where it is not what was wanted."""
    if is_cancelled and status in (0, INTERRUPTED, -signal.SIGTERM):
        return
    lines = [line.removeprefix("moonhare: ") for line in run.last_messages() if CHECKED not in line]
    if status == 0:
        for line in lines:
            report.note(line)
        return
    what = f"signal {-status} ended the program" if status < 0 else \
        f"the program ended with status {status}"
    if has_picture:
        what += "; the pictures so far are kept"
    report.error(": ".join([what, *lines[-1:]]))


class Shown:
    """The render result of one view layer, filled as often as the program writes its picture."""

    def __init__(self, engine, job, folder, layer_name):
        self.engine, self.job = engine, job
        self.pictures = passes.Pictures(folder, job.view, job.transparent)
        self.beauty = os.path.join(folder, passes.BEAUTY)
        self.layer_name = layer_name
        self.stamp = None

    def changed(self):
        try:
            stamp = os.stat(self.beauty).st_mtime_ns
        except OSError:
            return False
        is_new, self.stamp = stamp != self.stamp, stamp
        return is_new

    def update(self):
        """A new picture alone; the passes follow at the end."""
        if self.changed():
            self.fill([])

    def finish(self):
        """The last picture with all passes; False where there is none."""
        if not os.path.exists(self.beauty):
            return False
        self.fill(self.job.passes)
        return True

    def fill(self, wanted):
        width, height = self.job.view.size
        result = self.engine.begin_result(0, 0, width, height, layer=self.layer_name)
        try:
            found = result.layers[0].passes
            compat.set_rect(found["Combined"], self.pictures.combined())
            for each in wanted:
                render_pass = found.get(each.name)
                if render_pass is not None:
                    compat.set_rect(render_pass, self.pictures.rows_of(each))
        except (OSError, ValueError, IndexError):  # a picture that is just being replaced
            self.stamp = None
        self.engine.end_result(result)


def register():
    bpy.utils.register_class(MoonhareRenderEngine)


def unregister():
    bpy.utils.unregister_class(MoonhareRenderEngine)
    forget()
