"""Offline, physically based rendering.

Classes over NumPy arrays (Scene, Mesh, Camera, lights, shaders), and the functions and constants of
moonhare.h under their own names. The classes need NumPy, and are imported when they are used first.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import importlib.util as _util
import typing as _typing

from . import functions
from .functions import *
from .version import __version__

if _typing.TYPE_CHECKING:
    from .rendering import *

_CLASSES = ("Camera", "Cancelled", "Diffuse", "Emitter", "Error", "GeometryLight", "Glass", "Hair",
            "Image", "Instance", "Lacquer", "Layer", "Mesh", "Metal", "ParallelLight", "Particles",
            "PointLight", "Progress", "Scene", "SceneWarning", "Shader", "Sky")

__all__ = [name for name in vars(functions) if name.startswith("mh")]
if _util.find_spec("numpy"):
    __all__ += _CLASSES


def __getattr__(name: str) -> _typing.Any:
    if name not in _CLASSES:
        raise AttributeError(f"module 'moonhare' has no attribute {name!r}")
    from . import rendering
    return getattr(rendering, name)


def __dir__() -> list[str]:
    return sorted({*globals(), *_CLASSES})
