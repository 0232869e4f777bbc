"""The world as a sky: a colour, or the image of an environment.
SPDX-License-Identifier: MIT"""
import numpy

from .nodes import Reader, mapping_matrix3
from .values import constant, grey, product

NORTH = numpy.array([0.0, 1.0, 0.0])  # direction of the map's second axis
SMALL_MAP = 2048  # texels of a row; the corners and middles of larger maps are too close to matter
ZENITH = numpy.array([0.0, 0.0, 1.0])


def background_of(reader, socket):
    """The Background node behind a socket, or None."""
    found = reader.source(socket)
    if found and found[0].bl_idname in ("ShaderNodeBackground", "ShaderNodeEmission"):
        return found[0]
    if found and found[0].bl_idname in ("ShaderNodeMixShader", "ShaderNodeAddShader"):
        reader.note(f'of "{found[0].name}" the first background alone is read')
        for inner in found[0].inputs[-2:]:
            background = background_of(reader, inner)
            if background:
                return background
    return None


def environment_node(reader, socket):
    """The first environment node of a chain of colours."""
    found = reader.source(socket)
    for _ in range(32):
        if not found or found[0].bl_idname == "ShaderNodeTexEnvironment":
            break
        found = next(filter(None, (reader.source(s) for s in found[0].inputs)), None)
    return found[0] if found else None


def turn_of(reader, node):
    """The turn between directions of the world and of the map."""
    if node.projection != "EQUIRECTANGULAR":
        reader.note("the image is read by longitude and latitude")
    found = reader.source(node.inputs["Vector"])
    turn = numpy.eye(3)
    while found and found[0].bl_idname == "ShaderNodeMapping":
        turn = turn @ mapping_matrix3(reader, found[0])
        found = reader.source(found[0].inputs["Vector"])
    if found and found[1].name not in ("Generated", "Normal", "Object"):
        reader.note(f'coordinates "{found[1].name}" of the image are not understood')
    if not numpy.allclose(turn @ turn.T, numpy.eye(3), atol=1e-4) or numpy.linalg.det(turn) < 0:
        reader.note("the image can be turned, but not scaled or mirrored")
        left, _, right = numpy.linalg.svd(turn)
        turn = left @ right if numpy.linalg.det(left @ right) > 0 else numpy.eye(3)
    return turn


def at_corners(rows):
    """Texels of a map lie at their corners here and at their middles in Blender: twice as many hold
    both. Rows start at the zenith."""
    if rows.shape[1] > SMALL_MAP:
        return rows
    height, width = rows.shape[:2]
    wide = numpy.empty((height, 2 * width, 3), rows.dtype)
    wide[:, 1::2], wide[:, ::2] = rows, 0.5 * (rows + numpy.roll(rows, 1, 1))
    result = numpy.empty((2 * height, 2 * width, 3), rows.dtype)
    result[1::2] = wide
    result[::2] = 0.5 * (wide + numpy.concatenate([wide[:1], wide[:-1]]))
    return result


def add_world(scene, world, pictures, report, settings, lamp_aov, backdrop):
    photon = settings.photons if settings.mode == "gather" else 0
    keys = {"aov": lamp_aov("World"), "photon": photon, "backdrop": backdrop}
    if world is None:
        scene.add("sky_light", color=constant(0).color, photon=0, backdrop=backdrop)
        return
    if not world.use_nodes or world.node_tree is None:
        scene.add("sky_light", color=tuple(world.color), **keys)
        return
    reader = Reader(pictures, report, f'world "{world.name}"')
    output = world.node_tree.get_output_node("ALL") or world.node_tree.get_output_node("CYCLES")
    background = output and background_of(reader, output.inputs["Surface"])
    if output and reader.source(output.inputs["Volume"]):
        reader.note("its volume is left out")
    if not background:
        if output and reader.source(output.inputs["Surface"]):
            reader.note("its shaders are not understood; it is black")
        scene.add("sky_light", color=constant(0).color, photon=0, backdrop=backdrop)
        return
    light = product(reader.value(background.inputs["Color"]),
                    grey(reader.value(background.inputs["Strength"])))
    if light.is_constant:
        scene.add("sky_light", color=numpy.maximum(light.color, 0), **keys)
        return
    turn = turn_of(reader, environment_node(reader, background.inputs["Color"]))
    rows = at_corners(numpy.maximum(light.rows(), 0)[::-1])
    image = pictures.texels("sky", rows)  # maps enter with the zenith first
    scene.add("sky_light", image=image, color=(1, 1, 1),
              sample=settings.samples * settings.light_rays,
              north=turn.T @ NORTH, zenith=turn.T @ ZENITH, **keys)
