import bpy
settings = bpy.context.scene.moonhare

settings.samples = 32
settings.gather_rays = 4
settings.light_rays = 2
settings.bounces = 2
settings.mode = 'gather'
