import bpy
settings = bpy.context.scene.moonhare

settings.samples = 16
settings.gather_rays = 1
settings.light_rays = 1
settings.bounces = 3
settings.mode = 'path'
