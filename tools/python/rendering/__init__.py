"""Scenes as objects: describe one, render it, get NumPy arrays.
SPDX-License-Identifier: MIT"""
from .describe import (Camera, Diffuse, Emitter, GeometryLight, Glass, Hair, Image, Instance,
                       Lacquer, Layer, Mesh, Metal, ParallelLight, Particles, PointLight, Shader,
                       Sky)
from .report import Cancelled, Error, SceneWarning
from .scene import Progress, Scene

__all__ = ["Camera", "Cancelled", "Diffuse", "Emitter", "Error", "GeometryLight", "Glass", "Hair",
           "Image", "Instance", "Lacquer", "Layer", "Mesh", "Metal", "ParallelLight", "Particles",
           "PointLight", "Progress", "Scene", "SceneWarning", "Shader", "Sky"]
