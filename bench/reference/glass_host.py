"""A host that adds glass and a camera to a scene directory: glass_host.py NAME renders the scene of
that name in scenes.py, whose directory is "scene", to beauty.pfm.
SPDX-License-Identifier: MIT"""
import sys

import moonhare as mh

from scenes import SCENES

MATERIALS = {"opaque": mh.mhMaterialOpaque, "solid": mh.mhMaterialSolid, "thin": mh.mhMaterialThin}


def add_glass(name, layer):
    shader = mh.mhAddShader()
    mh.mhSetShaderName(shader, name)
    surface = mh.mhAddSurfaceShader(shader)
    mh.mhSetSurfaceMaterial(shader, surface, MATERIALS[layer.material])
    for element, color in ((mh.mhElementSpecular, layer.specular),
                           (mh.mhElementGlossy, layer.glossy),
                           (mh.mhElementIor, (layer.ior,) * 3),
                           (mh.mhElementRoughness, (layer.roughness,) * 3)):
        mh.mhSetSurfaceColor(shader, surface, element, *color)


def add_camera(scene):
    camera = mh.mhAddCamera()
    mh.mhSetCameraAOVName(camera, 0, "beauty.pfm")
    mh.mhSetCameraResolution(camera, scene.resolution, scene.resolution)
    mh.mhSetCameraSample(camera, scene.frames)
    for time in 0, 1:
        mh.mhSetCameraTime(camera, time)
        mh.mhSetCameraPosition(camera, *scene.camera.position)
        mh.mhSetCameraTarget(camera, *scene.camera.target)
        mh.mhSetCameraUpVector(camera, *map(float, scene.camera.up))
        mh.mhSetCameraFOV(camera, scene.camera.fov)


scene = SCENES[sys.argv[1]]
mh.mhStartup()
add_camera(scene)
for name, material in scene.materials.items():
    for layer in material.layers:
        if layer.material != "opaque":
            add_glass(name, layer)
mh.mhGo("scene/")
