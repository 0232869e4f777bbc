"""File > Export > moonhare scene.
SPDX-License-Identifier: MIT"""
import os

import bpy
from bpy.props import BoolProperty, StringProperty

from . import report as reports
from .export import export
from .moonhare_scene import Scene
from .report import Report


class ExportScene(bpy.types.Operator):
    """Writes the scene as a directory for moonhare"""
    bl_idname = "export_scene.moonhare"
    bl_label = "Export moonhare scene"

    directory: StringProperty(subtype="DIR_PATH")
    filepath: StringProperty(subtype="DIR_PATH")
    link: BoolProperty(name="Link pictures", default=False,
                       description="Symbolic links to pictures in place of copies")

    def invoke(self, context, event):
        stem = os.path.splitext(os.path.basename(bpy.data.filepath))[0] or "moonhare_scene"
        self.filepath = os.path.join(os.path.dirname(bpy.data.filepath), stem)
        context.window_manager.fileselect_add(self)
        return {"RUNNING_MODAL"}

    def execute(self, context):
        report = Report()
        try:
            export(context.evaluated_depsgraph_get(), Scene(self.filepath or self.directory),
                   context.scene.moonhare, report, self.link)
        except OSError as error:
            report.error(f"the scene cannot be written: {error}")
        except Exception as error:  # a fault of ours is one line, too
            report.error(f"internal fault: {type(error).__name__}: {error}")
        report.publish()
        reports.show()
        if report.errors:
            self.report({"WARNING"}, "moonhare: " + report.errors[0])
            return {"CANCELLED"}
        self.report({"INFO"}, f"moonhare: {self.filepath or self.directory} written")
        return {"FINISHED"}


def menu_entry(menu, context):
    menu.layout.operator(ExportScene.bl_idname, text="moonhare scene")


def register():
    bpy.utils.register_class(ExportScene)
    bpy.types.TOPBAR_MT_file_export.append(menu_entry)


def unregister():
    bpy.types.TOPBAR_MT_file_export.remove(menu_entry)
    bpy.utils.unregister_class(ExportScene)
