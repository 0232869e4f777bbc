"""Panels of the render and view layer properties, presets, and Blender's own panels that apply.
SPDX-License-Identifier: MIT"""
import bpy
from bl_operators.presets import AddPresetBase
from bl_ui.utils import PresetPanel

from . import compat
from .engine import MoonhareRenderEngine

ENGINE = MoonhareRenderEngine.bl_idname
# Panels of the other engines that show what is exported, too.
SHARED = {
    "DATA_PT_EEVEE_light", "DATA_PT_EEVEE_light_distance", "EEVEE_MATERIAL_PT_context_material",
    "EEVEE_MATERIAL_PT_surface", "EEVEE_WORLD_PT_surface", "EEVEE_MATERIAL_PT_volume",
    "VIEWLAYER_PT_eevee_layer_passes_data",
}
UNSUITED = {"VIEWLAYER_PT_filter", "VIEWLAYER_PT_layer_passes", "RENDER_PT_simplify"}


class MOONHARE_PT_presets(PresetPanel, bpy.types.Panel):  # the name is its identifier, too
    bl_label = "moonhare presets"
    preset_subdir = compat.PRESETS
    preset_operator = "script.execute_preset"
    preset_add_operator = "moonhare.preset_add"


class AddPreset(AddPresetBase, bpy.types.Operator):
    """Keeps the settings as a preset, or removes one"""
    bl_idname = "moonhare.preset_add"
    bl_label = "Add moonhare preset"
    preset_menu = "MOONHARE_PT_presets"
    preset_subdir = compat.PRESETS
    # Names of the values alone: under Python 3.13 no name that a preset defines is found again.
    preset_values = ["bpy.context.scene.moonhare." + name for name in (
        "samples", "gather_rays", "light_rays", "bounces", "ray_depth", "mode", "estimator",
        "photons", "gather_distance", "gather_cell", "clamp", "noise", "adaptive")]


class SettingsPanel:
    bl_space_type = "PROPERTIES"
    bl_region_type = "WINDOW"
    bl_context = "render"
    names = ()

    @classmethod
    def poll(cls, context):
        return context.engine == ENGINE

    def draw(self, context):
        layout = self.layout
        layout.use_property_split = True
        layout.use_property_decorate = False
        column = layout.column()
        for name in self.names:
            column.prop(context.scene.moonhare, name)


class SamplingPanel(SettingsPanel, bpy.types.Panel):
    bl_idname = "MOONHARE_PT_sampling"
    bl_label = "Sampling"
    names = ("samples", "gather_rays", "light_rays", "noise", "adaptive", "clamp", "seed")

    def draw_header_preset(self, context):
        MOONHARE_PT_presets.draw_panel_header(self.layout)


class LightPanel(SettingsPanel, bpy.types.Panel):
    bl_idname = "MOONHARE_PT_light"
    bl_label = "Light Paths"
    names = ("mode", "estimator", "bounces", "ray_depth")

    def draw(self, context):
        super().draw(context)
        if context.scene.moonhare.mode == "gather":
            for name in ("photons", "gather_distance", "gather_cell"):
                self.layout.prop(context.scene.moonhare, name)


class FilmPanel(SettingsPanel, bpy.types.Panel):
    bl_idname = "MOONHARE_PT_film"
    bl_label = "Film and Performance"
    names = ("threads",)

    def draw(self, context):
        super().draw(context)
        self.layout.prop(context.scene.render, "film_transparent")
        self.layout.prop(context.scene.render, "use_persistent_data", text="Persistent Data")


class PassesPanel(SettingsPanel, bpy.types.Panel):
    bl_idname = "MOONHARE_PT_passes"
    bl_label = "Passes"
    bl_context = "view_layer"
    names = ("pass_diffuse", "pass_glossy", "pass_emission", "pass_noise", "pass_lights")

    def draw(self, context):
        super().draw(context)
        for flag in ("use_pass_z", "use_pass_normal", "use_pass_position", "use_pass_uv",
                     "use_pass_diffuse_color", "use_pass_glossy_color"):
            self.layout.prop(context.view_layer, flag)


CLASSES = (MOONHARE_PT_presets, AddPreset, SamplingPanel, LightPanel, FilmPanel, PassesPanel)


def shared_panels():
    for panel in bpy.types.Panel.__subclasses__():
        engines = getattr(panel, "COMPAT_ENGINES", None)
        if engines is None or panel.__name__ in UNSUITED:
            continue
        if "BLENDER_RENDER" in engines or panel.__name__ in SHARED:
            yield panel


def register():
    for each in CLASSES:
        bpy.utils.register_class(each)
    for panel in shared_panels():
        panel.COMPAT_ENGINES.add(ENGINE)


def unregister():
    for panel in shared_panels():
        panel.COMPAT_ENGINES.discard(ENGINE)
    for each in reversed(CLASSES):
        bpy.utils.unregister_class(each)
