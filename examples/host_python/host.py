"""A host in Python: a grey triangle before the sky. Writes host_python.png."""
from moonhare import *

mhStartup()
mesh = mhAddObject()
part = mhAddPart(mesh)
mhAddPositions(mesh, part, [(-1, -1, 0), (1, -1, 0), (0, 1, 0)])
mhAddTriangles(mesh, part, [(0, 1, 2)])
camera = mhAddCamera()
mhSetCameraResolution(camera, 320, 200)
mhSetCameraAOVName(camera, 0, "host_python.png")
for time in 0, 1:
    mhSetCameraTime(camera, time)
    mhSetCameraPosition(camera, 1, 0, 4)
    mhSetCameraUpVector(camera, 0, 1, 0)
    mhSetCameraFOV(camera, 40)
mhSetRendererDistance(0)
mhInitialize()
mhRender()
mhFinalize()
mhShutdown()
