"""Hair of particle systems and hair objects as files of strands, in world space.
SPDX-License-Identifier: MIT"""
import numpy

MOST_STRANDS = 20000  # of a file
USUAL_SHORT = 10  # percentile of the lengths of segments that is drawn one unit long


def shape_radius(shape, root, tip, t):
    """Radius along a strand, t from 0 to 1, as Blender shapes it."""
    power = 1 + shape if shape < 0 else 1 / max(1 - shape, 1e-6)
    return numpy.where(t < 1, (1 - t) ** power, 0.0) * (root - tip) + tip


def particle_hair(ob, system):
    """Points (strands, points, 3) in world space, and the radius of each point of a strand."""
    settings = system.settings
    parents = len(system.particles)
    children = len(system.child_particles)
    show_all = settings.child_type == "NONE" or settings.use_parent_particles
    numbers = range(0 if show_all or not children else parents, parents + children)
    steps = 2 ** settings.render_step + 1
    points = numpy.array([[system.co_hair(ob, particle_no=n, step=s) for s in range(steps)]
                          for n in numbers], numpy.float32).reshape(-1, steps, 3)
    radii = 0.5 * settings.radius_scale * shape_radius(
        settings.shape, settings.root_radius, settings.tip_radius, numpy.linspace(0, 1, steps))
    if settings.use_close_tip:
        radii[-1] = 0
    return points, radii


def systems_of(ob):
    shown = {m.particle_system.name for m in ob.modifiers
             if m.type == "PARTICLE_SYSTEM" and m.show_render}
    for system in ob.particle_systems:
        settings = system.settings
        if system.name in shown and settings.type == "HAIR" and settings.render_type == "PATH":
            yield system


class Strands:
    """Writes strands and places them; segments of common length are drawn as units."""

    def __init__(self, scene, materials, report, instances):
        self.scene, self.materials, self.report = scene, materials, report
        self.instances = instances
        self.count = 0

    def add_systems(self, ob):
        for system in systems_of(ob):
            points, radii = particle_hair(ob, system)
            slot = system.settings.material - 1
            material = ob.material_slots[slot].material if slot < len(ob.material_slots) else None
            counts = numpy.full(len(points), points.shape[1])
            self.write(ob.name + "_" + system.name, points.reshape(-1, 3),
                       numpy.tile(radii, len(points)), counts, material)

    def add_curves(self, instance, arrays):
        ob = instance.object
        points, radii, counts = arrays
        matrix = numpy.array(instance.matrix_world)
        points = points @ matrix[:3, :3].T + matrix[:3, 3]
        scale = abs(numpy.linalg.det(matrix[:3, :3])) ** (1 / 3)
        material = ob.material_slots[0].material if ob.material_slots else None
        self.write(ob.name, points, radii * scale, counts, material)

    def write(self, name, points, radii, counts, material):
        whole = numpy.isfinite(points).all() and numpy.isfinite(radii).all()
        if not len(counts) or not whole or counts.min() < 2 or counts.max() > MOST_STRANDS:
            if len(counts):
                self.report.note(f'hair "{name}" is left out: it has strands of one point, '
                                 "or no numbers")
            return
        radii = numpy.maximum(radii, 1e-3 * max(float(radii.max()), 1e-6))
        unit = usual_length(points, counts)
        shader = self.materials.shader(material)
        starts = numpy.concatenate([[0], numpy.cumsum(counts)])
        for first in range(0, len(counts), MOST_STRANDS):
            last = min(first + MOST_STRANDS, len(counts))
            rows = slice(starts[first], starts[last])
            file = self.scene.hair(name, points[rows] / unit, counts[first:last] - 1,
                                   radii[rows] / unit)
            made = self.scene.object(name, shader=shader, hair=file)
            self.instances.append((made, numpy.diag([unit, unit, unit, 1.0])))
        self.count += len(counts)


def usual_length(points, counts):
    """Length of short segments: longer ones are drawn straight, shorter ones would bulge."""
    lengths = numpy.linalg.norm(numpy.diff(points, axis=0), axis=-1)
    inside = numpy.ones(len(lengths), bool)
    inside[numpy.cumsum(counts)[:-1] - 1] = False  # between two strands
    lengths = lengths[inside]
    lengths = lengths[lengths > 0]
    return float(numpy.percentile(lengths, USUAL_SHORT)) if len(lengths) else 1.0
