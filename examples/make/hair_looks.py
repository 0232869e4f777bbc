# SPDX-License-Identifier: MIT
"""The scene "hair_looks": the ball of the scene "hair" eight times, its roughness growing from left
to right, its absorption from the upper row to the lower."""
from mesh import Mesh

folder = "../../docs/scenes/hair_looks/"
ROUGHNESS = (0.1, 0.25, 0.5, 1)
TRANSMITTANCE = ("0.99 0.97 0.92", "0.9 0.78 0.6")
BALL, SPACING = (-0.9, 0, 4.6), 9.6   # BALL: the centre in the hair file

SHADER = """shader
    name "hair{number}"
    surface_shader
        glossy
            color 1 1 1
        end
        roughness
            color {roughness} 0 0
        end
        ior
            color 1.55 1.55 1.55
        end
    end
    volume_shader
        transmittance {transmittance}
    end
end
"""
OBJECT = """object
    name ball{number}
    shader "hair{number}"
    hair "../../../../examples/hair/geometry/ball.hair"
end
"""
INSTANCE = """    instance
        object ball{number}
        matrix 1 0 0 {x:g}  0 1 0 0  0 0 1 {z:g}  0 0 0 1
    end
"""

shaders, objects, instances = [], [], []
skin = Mesh()
skin.material("skin")
for row, transmittance in enumerate(TRANSMITTANCE):
    for column, roughness in enumerate(ROUGHNESS):
        number = 4 * row + column
        center = (SPACING * (column - 1.5), 0, SPACING * (0.5 - row))
        shaders.append(SHADER.format(number=number, roughness=roughness,
                                     transmittance=transmittance))
        objects.append(OBJECT.format(number=number))
        instances.append(INSTANCE.format(number=number, x=center[0] - BALL[0],
                                         z=center[2] - BALL[2]))
        skin.sphere(center, 2.6, 24, 12)
skin.save(folder + "geometry/skin.obj")
with open(folder + "shader/hair.mh", "w") as file:
    file.write('shader\n    name "skin"\n    surface_shader\n        lambertian\n'
               '            color 0.1 0.07 0.05\n        end\n    end\nend\n' + "".join(shaders))
with open(folder + "geometry/balls.mh", "w") as file:
    file.write("".join(objects) + 'object\n    name root\n    obj "skin.obj"\n' + "".join(instances)
               + "end\n")
