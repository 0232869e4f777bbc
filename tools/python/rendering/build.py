"""Hands a scene over to the library, record by record.

All meshes that are not instanced become one part of one object: a ray ignores, in every part, the
number of the face that it left, so that faces of two parts could hide each other.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import os
from typing import TYPE_CHECKING, Any

import numpy

from .. import functions as mh
from .describe import (CHANNELS, PROJECTIONS, SLOTS, Camera, Hair, Image, Instance, Layer, Mesh,
                       ParallelLight, Particles, PointLight, Shader, choice, color_of, parts_of,
                       rows)

if TYPE_CHECKING:
    from .scene import Scene

MATERIALS = {"opaque": mh.mhMaterialOpaque, "solid": mh.mhMaterialSolid,
             "thin": mh.mhMaterialThin}
SIDES = {"both": mh.mhSidenessBoth, "face": mh.mhSidenessFace, "back": mh.mhSidenessBack}
VISIBILITIES = {"all": mh.mhVisibilityAll, "camera": mh.mhVisibilityCameraOnly,
                "light": mh.mhVisibilityLightOnly, "hidden": mh.mhVisibilityHidden}


def set_image(shader: int, layer: int, element: int, image: Image) -> None:
    mh.mhSetSurfaceImage(shader, layer, element, os.fspath(image.path), image.gamma, None, None)


class Builder:
    """What a scene has become: numbers of shaders and objects, by the values they stand for."""

    def __init__(self, scene: Scene) -> None:
        self.scene = scene
        self.shaders: dict[int, int] = {}
        self.objects: dict[int, int] = {}
        # No sample reaches round shapes: their emission must not be weighted against samples.
        self.round_shaders = {id(shape.shader) for shape in map(self.shape_of, scene.shapes)
                              if not isinstance(shape, Mesh)}

    @staticmethod
    def shape_of(shape: Any) -> Any:
        return shape.of if isinstance(shape, Instance) else shape

    def layer(self, shader: int, layer: Layer, samples_lamps: bool) -> None:
        number = mh.mhAddSurfaceShader(shader)
        for slot in SLOTS:
            element = getattr(mh, f"mhElement{slot.capitalize()}")
            color, image = parts_of(getattr(layer, slot), slot)
            mh.mhSetSurfaceColor(shader, number, element, *color)
            if image is not None:
                set_image(shader, number, element, image)
        if layer.normal is not None:
            set_image(shader, number, mh.mhElementNormal, layer.normal)
        mh.mhSetSurfaceMaterial(shader, number, choice(MATERIALS, layer.material, "material"))
        mh.mhSetSurfaceSideness(shader, number, choice(SIDES, layer.side, "side"))
        emits = max(parts_of(layer.emissive, "emissive")[0]) > 0
        mh.mhSetSurfaceVirtualLight(shader, number, emits and samples_lamps)

    def shader(self, shader: Shader) -> int:
        if id(shader) in self.shaders:
            return self.shaders[id(shader)]
        number = self.shaders[id(shader)] = mh.mhAddShader()
        mh.mhSetShaderName(number, f"shader {number}")
        mh.mhSetShaderSmoothAngle(number, shader.smooth_angle)
        mh.mhSetShaderVisibility(number, choice(VISIBILITIES, shader.visibility, "visibility"))
        samples = self.scene.lamps.samples > 0 and id(shader) not in self.round_shaders
        for layer in shader.layers:
            self.layer(number, layer, samples)
        return number

    def faces(self, object_: int, meshes: list[Mesh]) -> None:
        """One part of several meshes; normals and uvs are absent, or there for all points."""
        if not meshes:
            return
        part, first = mh.mhAddPart(object_), 0
        has_normals = any(len(mesh.normals) for mesh in meshes)
        has_uvs = any(len(mesh.uvs) for mesh in meshes)
        for mesh in meshes:
            count = len(mesh.positions)
            mh.mhSetShaderID(object_, part, self.shader(mesh.shader))
            mh.mhAddPositions(object_, part, mesh.positions)
            if has_normals:
                mh.mhAddNormals(object_, part, mesh.normals if len(mesh.normals)
                                else numpy.zeros((count, 3), numpy.float32))
            if has_uvs:
                mh.mhAddUVs(object_, part, mesh.uvs if len(mesh.uvs)
                            else numpy.zeros((count, 2), numpy.float32))
            shift = numpy.int32(first)
            mh.mhAddTriangles(object_, part, mesh.triangles + shift if first else mesh.triangles)
            mh.mhAddTetragons(object_, part, mesh.quads + shift if first else mesh.quads)
            first += count

    def hair(self, object_: int, hair: Hair) -> None:
        strands = [rows(strand, 3, numpy.float32, "a strand") for strand in hair.strands]
        root, tip = hair.radius if numpy.ndim(hair.radius) else (hair.radius, hair.radius)
        if not strands:
            return
        part = mh.mhAddPart(object_)
        mh.mhSetShaderID(object_, part, self.shader(hair.shader))
        lengths = numpy.array([len(strand) for strand in strands])
        first = numpy.concatenate([[0], numpy.cumsum(lengths)])
        # A strand of points in one place takes up the segments that the last vertices lose.
        points = numpy.concatenate(strands + [numpy.repeat(strands[-1][-1:], len(strands) + 2, 0)])
        radii = numpy.concatenate([numpy.linspace(root, tip, count) for count in lengths]
                                  + [numpy.full(len(strands) + 2, tip)])
        cylinders = [numpy.arange(start, start + count - 1)
                     for start, count in zip(first, lengths)]
        cylinders.append(numpy.arange(first[-1], first[-1] + len(strands) + 1))
        mh.mhAddPositions(object_, part, points)
        mh.mhAddRadii(object_, part, radii.astype(numpy.float32))
        mh.mhAddCylinders(object_, part, numpy.concatenate(cylinders).astype(numpy.int32))

    def particles(self, object_: int, particles: Particles) -> None:
        centers = rows(particles.centers, 3, numpy.float32, "centers")
        part = mh.mhAddPart(object_)
        mh.mhSetShaderID(object_, part, self.shader(particles.shader))
        mh.mhAddPositions(object_, part, centers)
        radii = numpy.broadcast_to(numpy.float32(particles.radius), len(centers))
        mh.mhAddRadii(object_, part, numpy.ascontiguousarray(radii, numpy.float32))
        mh.mhAddParticles(object_, part, numpy.arange(len(centers), dtype=numpy.int32))

    def object_of(self, shape: Any) -> int:
        """The object that holds one shape alone."""
        if id(shape) not in self.objects:
            object_ = self.objects[id(shape)] = mh.mhAddObject()
            if isinstance(shape, Mesh):
                self.faces(object_, [shape])
            elif isinstance(shape, Hair):
                self.hair(object_, shape)
            else:
                self.particles(object_, shape)
        return self.objects[id(shape)]

    def geometry(self) -> None:
        """The root comes last; what it holds by instances lies before it."""
        shapes = self.scene.shapes
        placed = [Instance(s) if isinstance(s, (Hair, Particles)) else s
                  for s in shapes if not isinstance(s, Mesh)]
        targets = [self.object_of(instance.of) for instance in placed]
        root = mh.mhAddObject()
        self.faces(root, [shape for shape in shapes if isinstance(shape, Mesh)])
        for instance, target in zip(placed, targets):
            matrix = numpy.ascontiguousarray(instance.matrix, numpy.float32)
            mh.mhSetInstance(root, mh.mhAddInstance(root), target, matrix)

    def lights(self) -> None:
        sky, lamps = self.scene.sky, self.scene.lamps
        mh.mhSetSkyLightColor(*color_of(sky.color))
        if sky.image is not None:
            mh.mhSetSkyLightImage(os.fspath(sky.image))
        if sky.backdrop is not None:
            mh.mhSetSkyLightBackdrop(os.fspath(sky.backdrop))
        mh.mhSetSkyLightNorth(*sky.north)
        mh.mhSetSkyLightZenith(*sky.zenith)
        mh.mhSetSkyLightSample(sky.samples)
        mh.mhSetSkyLightPhoton(sky.photons)
        mh.mhSetGeometryLightSample(lamps.samples)
        mh.mhSetGeometryLightPhoton(lamps.photons)
        for light in self.scene.lights:
            family = "PointLight" if isinstance(light, PointLight) else "ParallelLight"
            self.lamp(family, getattr(mh, f"mhAdd{family}")(), light)

    @staticmethod
    def lamp(family: str, number: int, light: PointLight | ParallelLight) -> None:
        def give(what: str, *values: float) -> None:
            getattr(mh, f"mhSet{family}{what}")(number, *values)
        give("Color", *color_of(light.color))
        give("Direction", *light.direction)
        give("Offset", light.offset)
        give("Sample", light.samples)
        give("Photon", light.photons)
        if isinstance(light, ParallelLight):
            return give("Blur", light.blur)
        give("Position", *light.position)
        give("Blur", light.radius)
        give("InnerAngle", light.inner_angle)
        give("OuterAngle", light.outer_angle)

    def camera(self, camera: Camera, frames: int, files: dict[str, Any]) -> None:
        number = mh.mhAddCamera()
        mh.mhSetCameraResolution(number, *camera.resolution)
        mh.mhSetCameraSample(number, frames)
        mh.mhSetCameraProjection(number, choice(PROJECTIONS, camera.projection, "projection"))
        for time, pose in enumerate((camera, camera.end or camera)):
            mh.mhSetCameraTime(number, time)
            mh.mhSetCameraPosition(number, *pose.position)
            mh.mhSetCameraTarget(number, *pose.target)
            mh.mhSetCameraUpVector(number, *pose.up)
            mh.mhSetCameraFOV(number, pose.fov)
        mh.mhSetCameraAOVName(number, 0, os.fspath(files.get("beauty", "")))
        for name in camera.aovs:
            aov = mh.mhAddCameraAOV(number)
            mh.mhSetCameraAOVChannel(number, aov, choice(CHANNELS, name, "an AOV"))
            mh.mhSetCameraAOVName(number, aov, os.fspath(files.get(name, "")))

    def all(self, camera: Camera, frames: int, files: dict[str, Any]) -> None:
        self.lights()
        self.geometry()
        self.camera(camera, frames, files)
