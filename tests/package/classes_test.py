"""The classes of the Python module: pictures against closed forms, faults, cancelling,
lifetimes."""
import gc
import os
import signal
import threading
import time

import numpy

import moonhare as mh

GREY = mh.Diffuse(0.5)
POINTS = numpy.float32([(-9, -9, 0), (9, -9, 0), (9, 9, 0), (-9, 9, 0)])
FLOOR = mh.Mesh.from_arrays(POINTS, [(0, 1, 2, 3)], shader=GREY)
ABOVE = mh.Camera(position=(0, 0, 4), up=(0, 1, 0), resolution=(8, 6), aovs=("depth", "normal"))


def raised(kind, act):
    try:
        act()
    except kind as fault:
        return str(fault)
    raise AssertionError(f"no {kind.__name__}")


def scene(*things, **settings):
    settings = {"camera": ABOVE, "distance": 0, "sky": mh.Sky(1, photons=0)} | settings
    return mh.Scene(*things, **settings)


with scene(FLOOR) as lit:
    counts = []
    first = lit.render(4, callback=lambda progress: counts.append(progress.frame))
assert counts == sorted(counts) and counts[-1] == 4
assert list(first) == ["beauty", "depth", "normal"] and first["beauty"].shape == (6, 8, 3)
assert numpy.allclose(first["beauty"], 0.5, atol=0.01)  # albedo times a radiance of 1
assert abs(first["depth"][3, 4, 0] - 4) < 0.1 and numpy.allclose(first["normal"][3, 4],
                                                                 (0.5, 0.5, 1))
assert not first["beauty"].flags.owndata and first["beauty"].flags.writeable
assert lit.report["scene size"] == (18, 18, 0) and "scene size" in lit.report_text

# Meshes of several shaders are one part: the left half glows, the right half is dark.
half = POINTS * numpy.float32((0.5, 1, 1)) - numpy.float32((4.5, 0, 0))
sides = [mh.Mesh.from_arrays(half + numpy.float32((x, 0, 0)), [(0, 1, 2), (0, 2, 3)], shader=shader)
         for x, shader in ((0, mh.Emitter((3, 2, 1))), (9, mh.Diffuse(0)))]
second = scene(*sides).render(2)["beauty"]
assert numpy.allclose(second[:, 0], (3, 2, 1)) and numpy.allclose(second[:, 7], 0)
gc.collect()
assert numpy.allclose(first["beauty"], 0.5, atol=0.01)  # pictures outlive scenes, and the next one

# A sampled lamp has the brightness of one that is found; shapes are placed where they are told.
lamp = mh.Mesh.from_arrays(POINTS + numpy.float32((0, 0, 8)), [(0, 3, 2, 1)], shader=mh.Emitter(1))
found, sampled = (scene(FLOOR, lamp, sky=mh.Sky(0), lamps=mh.GeometryLight(count, photons=0),
                        gather=512)
                  .render(32)["beauty"].mean() for count in (0, 64))
assert abs(found - sampled) < 0.03, (found, sampled)
ball = mh.Particles([(0, 0, 0)], 1, shader=mh.Emitter(1))
moved = numpy.array([(1, 0, 0, 0), (0, 1, 0, 0), (0, 0, 1, 2), (0, 0, 0, 1)])
depth = scene(FLOOR, mh.Instance(ball, moved)).render(8)["depth"]
assert abs(depth[3, 4, 0] - 1) < 0.2, depth[3, 4]
hair = mh.Hair(([(x, -9, 1), (x, 0, 1), (x, 9, 1)] for x in (-0.5, 0.5)), radius=(0.6, 0.6))
depth = scene(hair).render(8)["depth"][:, 2:6, 0]
assert depth.max() < 4 and numpy.count_nonzero(depth > 2) > 20, depth  # all segments are there

# Faults have the library's words, and leave it ready for the next scene.
picture = mh.Mesh.from_arrays(POINTS, [(0, 1, 2, 3)], shader=mh.Diffuse(mh.Image("nowhere.png")))
assert "nowhere.png" in raised(mh.Error, lambda: scene(picture).render())
assert "beyond the 4" in raised(ValueError, lambda: mh.Mesh.from_arrays(POINTS, [(0, 1, 4)]))
assert "rows of 2" in raised(ValueError, lambda: mh.Mesh.from_arrays([(0, 1)], [(0, 1, 2)]))
raised(TypeError, lambda: mh.Scene(3))
for fault, act in (("lambertian_color", lambda: mh.Camera(aovs=["all_light"])),
                   ("resolution is 5", lambda: mh.Camera(resolution=5)),
                   ("color is 'red'", lambda: mh.Diffuse("red")),
                   ("frames is 0", lambda: scene(FLOOR).render(0)),
                   ("has 'noise'", lambda: scene(FLOOR).render(files={"noise": "a.exr"}))):
    assert fault in raised(ValueError, act)

# Ends of long renders, from the callback, another thread and Ctrl-C, each within a second.
long = scene(FLOOR, camera=mh.Camera(resolution=(1024, 768)), bounces=8, gather=4096)
seen = []
assert long.render(500, callback=lambda p: seen.append(p) or p.frame < 2)["beauty"].any()
assert seen[-1].frame >= 2 and seen[-1].frames == 500 and "variance of " in long.report_text


def seconds_to_end(act):
    """From a thread's act, 0.2 s after the first frame, to the end of the render."""
    acted = []

    def act_later(progress):
        if progress.frame and not acted:
            acted.append(0)
            threading.Timer(0.2, lambda: acted.append(time.monotonic()) or act()).start()

    try:
        long.render(60000, callback=act_later)
    except KeyboardInterrupt:
        acted.append("interrupted")
    return time.monotonic() - acted[1], acted[-1]


def cancel():
    assert "another scene" in raised(mh.Error, scene(FLOOR).render)
    long.cancel()


cancelled, _ = seconds_to_end(cancel)
interrupted, how = seconds_to_end(lambda: os.kill(os.getpid(), signal.SIGINT))
assert how == "interrupted" and max(cancelled, interrupted) < 1, (cancelled, interrupted)

assert numpy.allclose(scene(FLOOR).render(2)["beauty"], 0.5, atol=0.02)
