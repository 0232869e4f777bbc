"""moonhare as a render engine of Blender: docs/blender.md.
SPDX-License-Identifier: MIT"""
import os

import bpy

from . import compat, engine, operators, panels, preferences, properties, report

bl_info = {
    "name": "moonhare",
    "author": "The moonhare developers",
    "version": (0, 1, 0),
    "blender": (3, 4, 0),
    "location": "Render Properties > Render Engine",
    "description": "Renders with moonhare",
    "doc_url": "",
    "category": "Render",
}

MODULES = (preferences, properties, engine, panels, operators, report)


def register():
    for module in MODULES:
        module.register()
    compat.register_presets(os.path.dirname(__file__))


def unregister():
    compat.unregister_presets(os.path.dirname(__file__))
    for module in reversed(MODULES):
        module.unregister()
