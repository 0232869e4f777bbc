"""Settings of a scene.
SPDX-License-Identifier: MIT"""
import bpy
from bpy.props import (BoolProperty, EnumProperty, FloatProperty, IntProperty, PointerProperty)

ESTIMATORS = (
    ("exact", "Exact", "Light without known bias"),
    ("classic", "Classic", "The look of earlier versions; scales are applied to copies of meshes"),
)
MODES = (
    ("path", "Path tracing", "Light is followed from the camera alone"),
    ("gather", "Final gathering", "Photons light the scene, rays gather them"),
)


class MoonhareSettings(bpy.types.PropertyGroup):
    samples: IntProperty(name="Samples", default=128, min=1, max=65535,
                         description="Frames, each with one sample of every pixel")
    gather_rays: IntProperty(name="Gather rays", default=1, min=1, max=64,
                             description="Bounce rays of a frame from the first surface")
    light_rays: IntProperty(name="Light samples", default=1, min=1, max=64,
                            description="Samples of glowing surfaces and of the sky in a frame")
    bounces: IntProperty(name="Bounces", default=5, min=1, max=64,
                         description="Levels of diffuse and glossy bounces")
    ray_depth: IntProperty(name="Path length", default=24, min=1, max=255,
                           description="Rays of a path, with mirrors and glass")
    mode: EnumProperty(name="Mode", items=MODES, default="path")
    estimator: EnumProperty(name="Estimator", items=ESTIMATORS, default="exact")
    seed: IntProperty(name="Seed", default=0, min=0,
                      description="The same one gives the same picture")
    photons: IntProperty(name="Photons", default=1000000, min=0, max=100000000,
                         description="Photons of each light and of the sky")
    gather_distance: FloatProperty(
        name="Gather distance", default=1.0, min=1e-3, unit="LENGTH",
        description="Gather rays that are longer end among the photons")
    gather_cell: FloatProperty(name="Cell", default=0.1, min=1e-3, unit="LENGTH",
                               description="Side of a cell in which photons are counted")
    clamp: FloatProperty(name="Clamp", default=0.0, min=0.0,
                         description="Upper limit of a sample's value; 0: none")
    noise: FloatProperty(name="Noise limit", default=0.0, min=0.0, max=1.0, precision=3,
                         description="Ends when the estimated relative error is below; 0: never")
    adaptive: BoolProperty(name="Adaptive", default=False,
                           description="Later frames go to the parts that need them")
    threads: IntProperty(name="Threads", default=0, min=0, max=256,
                         description="0: those of Blender's performance settings")
    pass_diffuse: BoolProperty(name="Diffuse", description="Light of diffuse layers")
    pass_glossy: BoolProperty(name="Glossy", description="Light of rough and mirror layers")
    pass_emission: BoolProperty(name="Emission", description="Light of surfaces that glow")
    pass_noise: BoolProperty(name="Noise", description="Estimated relative error")
    pass_lights: BoolProperty(name="Light groups",
                              description="All light of each lamp and of the world, "
                                          "direct or by bounces")


def register():
    bpy.utils.register_class(MoonhareSettings)
    bpy.types.Scene.moonhare = PointerProperty(type=MoonhareSettings)


def unregister():
    del bpy.types.Scene.moonhare
    bpy.utils.unregister_class(MoonhareSettings)
