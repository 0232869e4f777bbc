"""Preferences: where the program is.
SPDX-License-Identifier: MIT"""
import bpy

from .process import find_program


class MoonharePreferences(bpy.types.AddonPreferences):
    bl_idname = __package__

    program: bpy.props.StringProperty(
        name="Program", subtype="FILE_PATH",
        description="The program moonhare; empty: the one on the path of commands")

    def draw(self, context):
        self.layout.prop(self, "program")
        found = program_path()
        self.layout.label(text=f"In use: {found}" if found else "The program is not found",
                          icon="CHECKMARK" if found else "ERROR")


def program_path():
    addon = bpy.context.preferences.addons.get(__package__)
    return find_program(bpy.path.abspath(addon.preferences.program) if addon else "")


def register():
    bpy.utils.register_class(MoonharePreferences)


def unregister():
    bpy.utils.unregister_class(MoonharePreferences)
