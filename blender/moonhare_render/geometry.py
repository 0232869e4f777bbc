"""Objects of the evaluated scene as meshes, strands and instances. Arrays come by foreach_get: no
loop runs over vertices.
SPDX-License-Identifier: MIT"""
from dataclasses import dataclass

import numpy

from . import compat

MESH_TYPES = {"MESH", "CURVE", "SURFACE", "FONT", "META"}
OTHER_TYPES = {"VOLUME", "POINTCLOUD", "GPENCIL", "GREASEPENCIL"}
IDENTITY = numpy.eye(4)


@dataclass
class Arrays:
    """A mesh: triangles of vertices or of corners, and the material slot of each."""
    positions: numpy.ndarray
    triangles: numpy.ndarray
    slots: numpy.ndarray
    normals: numpy.ndarray | None
    uvs: numpy.ndarray | None

    def part(self, slot):
        """The triangles of one slot, with the vertices that they use."""
        chosen = self.triangles[self.slots == slot]
        if len(chosen) == len(self.triangles):
            return self
        used = numpy.zeros(len(self.positions), bool)
        used[chosen.ravel()] = True
        numbers = numpy.cumsum(used, dtype=numpy.uint32) - 1

        def of_used(array):
            return None if array is None else array[used]

        return Arrays(self.positions[used], numbers[chosen], self.slots[:0], of_used(self.normals),
                      of_used(self.uvs))


def mesh_arrays(mesh, uv_layer):
    """Arrays of an evaluated mesh. `uv_layer` is None, a name, or "" for the active layer."""
    mesh.calc_loop_triangles()
    faces = mesh.loop_triangles
    slots = numpy.zeros(len(faces), numpy.int32)
    faces.foreach_get("material_index", slots)
    positions = compat.floats(mesh.vertices, "co", 3)
    normals = compat.corner_normals(mesh)
    uvs = None
    if uv_layer is not None and len(mesh.uv_layers):
        layer = mesh.uv_layers.get(uv_layer) or next(
            (found for found in mesh.uv_layers if found.active_render), mesh.uv_layers[0])
        uvs = compat.uv_rows(layer)
    triangles = compat.floats(faces, "vertices", 3, numpy.int32)
    by_corner = normals is not None or uvs is not None
    if normals is None and compat.is_smooth(mesh):
        normals = compat.vertex_normals(mesh)
        if by_corner:
            normals = normals[corner_vertices(mesh)]
    if by_corner:
        positions = positions[corner_vertices(mesh)]
        triangles = compat.floats(faces, "loops", 3, numpy.int32)
    return Arrays(positions, triangles.astype(numpy.uint32), slots, normals, uvs)


def corner_vertices(mesh):
    vertices = numpy.empty(len(mesh.loops), numpy.int32)
    mesh.loops.foreach_get("vertex_index", vertices)
    return vertices


def length_of_uv(arrays):
    """Length of one unit of texture coordinates on the surface, as a mean."""
    corners, coordinates = arrays.positions[arrays.triangles], arrays.uvs[arrays.triangles]
    edges, steps = corners[:, 1:] - corners[:, :1], coordinates[:, 1:] - coordinates[:, :1]
    area = numpy.linalg.norm(numpy.cross(edges[:, 0], edges[:, 1]), axis=-1).sum()
    flat = numpy.abs(steps[:, 0, 0] * steps[:, 1, 1] - steps[:, 0, 1] * steps[:, 1, 0]).sum()
    return float((area / flat) ** 0.5) if flat > 0 else 0.0


def split_turn(matrix):
    """A turn and what it acts on: the stretch of a matrix of 3 x 3, by polar decomposition."""
    left, sizes, right = numpy.linalg.svd(matrix)
    turn = left @ right
    return turn, right.T @ numpy.diag(sizes) @ right


class Geometry:
    """Collects the instances of a scene and writes each mesh once."""

    def __init__(self, scene, materials, report, rigid, all_uvs):
        self.scene, self.materials, self.report = scene, materials, report
        self.rigid, self.all_uvs = rigid, all_uvs
        self._arrays, self._objects = {}, {}
        self.instances = []
        self.triangles = 0

    def add(self, instance):
        """An instance of the dependency graph: a mesh, or what converts to one."""
        ob = instance.object
        matrix = numpy.array(instance.matrix_world)
        if not numpy.all(numpy.isfinite(matrix)):
            self.report.note(f'object "{ob.name}" has a transform without numbers and is left out')
            return
        if ob.type in OTHER_TYPES:
            self.report.note(f'object "{ob.name}" ({ob.type.lower()}) is left out')
        if ob.type not in MESH_TYPES:
            return
        camera_sees = visibility(ob, self.report)
        if camera_sees is None:
            return
        stretch = None
        if self.rigid:
            turn, stretch = split_turn(matrix[:3, :3])
            matrix = IDENTITY.copy()
            matrix[:3, :3], matrix[:3, 3] = turn, numpy.array(instance.matrix_world)[:3, 3]
        for name in self.objects_of(ob, camera_sees, stretch):
            self.instances.append((name, matrix))

    def objects_of(self, ob, camera_sees, stretch):
        materials = [slot.material for slot in ob.material_slots]
        materials = materials or list(getattr(ob.data, "materials", ()))
        source = ob.data.as_pointer() if ob.type == "MESH" else ob.original.as_pointer()
        key = (source, tuple(m.as_pointer() if m else 0 for m in materials), camera_sees,
               None if stretch is None else tuple(numpy.round(stretch, 6).ravel()))
        if key not in self._objects:
            self._objects[key] = self._written(ob, materials or [None], camera_sees, stretch)
        return self._objects[key]

    def _written(self, ob, materials, camera_sees, stretch):
        arrays = self.arrays_of(ob, materials)
        names = []
        if arrays is None:
            return names
        last = len(materials) - 1
        arrays.slots = numpy.clip(arrays.slots, 0, last)
        for slot in numpy.unique(arrays.slots).tolist():
            part = stretched(arrays.part(slot), stretch)
            look = self.materials.look(materials[slot])
            if look.needs_uv_length and not look.uv_length and part.uvs is not None:
                scale = abs(numpy.linalg.det(numpy.array(ob.matrix_world)[:3, :3])) ** (1 / 3)
                look.uv_length = length_of_uv(part) * (scale if stretch is None else 1)
            uvs = part.uvs if look.uv_layer is not None or self.all_uvs else None
            mesh = self.scene.mesh(ob.data.name if ob.data else ob.name, part.positions,
                                   part.triangles, part.normals, uvs)
            shader = self.materials.shader(materials[slot], camera_sees)
            names.append(self.scene.object(ob.name, shader=shader, mesh=mesh))
            self.triangles += len(part.triangles)
        return names

    def arrays_of(self, ob, materials):
        layers = [self.materials.look(m).uv_layer for m in materials]
        layer = next((found for found in layers if found is not None), "" if self.all_uvs else None)
        mesh = ob.data if ob.type == "MESH" else ob.to_mesh()
        try:
            if mesh is None or not len(mesh.polygons):
                return None
            arrays = mesh_arrays(mesh, layer)
        finally:
            if ob.type != "MESH":
                ob.to_mesh_clear()
        finite = numpy.isfinite(arrays.positions).all(-1)
        if not finite.all():
            self.report.note(f'faces of "{ob.name}" with infinite corners are left out')
            kept = finite[arrays.triangles].all(-1)
            arrays.positions[~finite] = 0
            arrays.triangles, arrays.slots = arrays.triangles[kept], arrays.slots[kept]
        if arrays.uvs is not None:
            arrays.uvs[~numpy.isfinite(arrays.uvs)] = 0
        return arrays if len(arrays.triangles) else None

    def write(self):
        """The root, which places everything."""
        if self.instances:
            self.scene.object("scene", instance=[{"object": name, "matrix": matrix}
                                                 for name, matrix in self.instances])


def visibility(ob, report):
    """Whether cameras see an object; None where nothing does."""
    flags = [getattr(ob, "visible_" + ray, True) for ray in (
        "diffuse", "glossy", "transmission", "shadow")]
    if not ob.visible_camera and not any(flags):
        return None
    if not all(flags):
        report.note(f'object "{ob.name}" is hidden from some rays; '
                    "only camera rays can be told apart")
    if ob.is_holdout or ob.is_shadow_catcher:
        report.note(f'object "{ob.name}" is shown as an ordinary one')
    return bool(ob.visible_camera)


def stretched(arrays, stretch):
    """Positions and normals under a stretch; a mirrored mesh keeps its outer side."""
    if stretch is None or numpy.allclose(stretch, IDENTITY[:3, :3], atol=1e-6):
        return arrays
    normals = arrays.normals
    if normals is not None and abs(numpy.linalg.det(stretch)) > 1e-12:
        normals = normals @ numpy.linalg.inv(stretch)
        normals = normals / numpy.maximum(numpy.linalg.norm(normals, axis=-1, keepdims=True), 1e-12)
    return Arrays(arrays.positions @ stretch.T, arrays.triangles, arrays.slots, normals, arrays.uvs)
