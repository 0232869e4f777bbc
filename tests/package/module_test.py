"""The Python module: arrays without copies, arrays of other kinds, many life cycles in a
process."""
import array
import os

import moonhare as mh


def mean_of(emission, positions, out):
    """Mean of a frame that a glowing triangle fills."""
    mh.mhStartup()
    camera = mh.mhAddCamera()
    mh.mhSetCameraResolution(camera, 4, 3)
    mh.mhSetCameraAOVName(camera, 0, "")
    for time in 0, 1:
        mh.mhSetCameraTime(camera, time)
        mh.mhSetCameraPosition(camera, 0, 0, 4)
        mh.mhSetCameraUpVector(camera, 0, 1, 0)
        mh.mhSetCameraFOV(camera, 40)
    shader = mh.mhAddShader()
    layer = mh.mhAddSurfaceShader(shader)
    mh.mhSetSurfaceColor(shader, layer, mh.mhElementEmissive, emission, emission, emission)
    mesh = mh.mhAddObject()
    part = mh.mhAddPart(mesh)
    mh.mhSetShaderID(mesh, part, shader)
    mh.mhAddPositions(mesh, part, positions)
    mh.mhAddTriangles(mesh, part, [(0, 1, 2)])
    mh.mhAddVertexData(mesh, part, "wind", 2, [1.0] * 6)
    mh.mhSetInstance(mesh, mh.mhAddInstance(mesh), 0, None)
    mh.mhSetRendererDistance(0)
    mh.mhSetSkyLightPhoton(0)
    mh.mhSetGeometryLightPhoton(0)
    mh.mhInitialize()
    mh.mhRenderPixels(out, 0)
    mh.mhFinalize()
    mh.mhShutdown()
    return sum(mh.functions._flat(out)) / (4 * 3 * 3)


def refuses(function, *arguments):
    try:
        function(*arguments)
    except (TypeError, ValueError):
        return True
    return False


CORNERS = [(-9, -9, 0), (9, -9, 0), (0, 9, 0)]

devnull = os.open(os.devnull, os.O_WRONLY)
os.dup2(devnull, 1)
assert abs(mean_of(2, CORNERS, array.array("f", [0] * 36)) - 2) < 1e-4
assert refuses(mh.functions._output, [0.0] * 36)
assert refuses(mh.functions._output, array.array("d", [0] * 36))
assert refuses(mh.functions._matrix, [1] * 15, 16)

try:
    import numpy
except ImportError:
    raise SystemExit(0)

corners = numpy.array(CORNERS, numpy.float32)
frozen = corners.copy()
frozen.flags.writeable = False
out = numpy.zeros((3, 4, 3), numpy.float32)
assert mh.functions._input(corners, "f")[:2] == (corners.ctypes.data, 9)
assert mh.functions._output(out)[0] == out.ctypes.data
for positions in corners, frozen, corners.astype(float), corners[::1, ::-1][:, ::-1]:
    assert abs(mean_of(5, positions, out) - 5) < 1e-4
