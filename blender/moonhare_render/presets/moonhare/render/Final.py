import bpy
settings = bpy.context.scene.moonhare

settings.samples = 256
settings.gather_rays = 1
settings.light_rays = 1
settings.bounces = 6
settings.mode = 'path'
