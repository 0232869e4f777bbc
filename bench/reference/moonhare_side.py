"""Writes a neutral scene as a scene directory and renders it.
SPDX-License-Identifier: MIT"""
import os
import shutil
import struct
import subprocess
import sys

import numpy

import pictures
from model import BLACK, Sun

HERE = os.path.dirname(os.path.abspath(__file__))
FOLDERS = ("shader", "render", "light", "camera", "geometry", "image")


def line(key, value):
    if isinstance(value, str):
        return f'{key} "{value}"'
    return " ".join([key, *(f"{x:.9g}" for x in numpy.ravel(value))])


def block(name, *parts):
    """A block of lines; parts are lines, blocks, lists of them, or (key, value)."""
    lines = []
    for part in parts:
        if isinstance(part, tuple):
            lines.append(line(*part))
        else:
            lines += part if isinstance(part, list) else [part]
    return [name, *("    " + text for text in lines), "end"]


def slot(name, value, image=None):
    if tuple(value) == BLACK:
        return []
    return block(name, ("color", tuple(value)), *([("image", image)] if image else []))


class Directory:
    """A scene directory under construction."""

    def __init__(self, path):
        self.path = path
        shutil.rmtree(path, ignore_errors=True)
        for folder in FOLDERS:
            os.makedirs(os.path.join(path, folder))

    def write(self, name, *blocks):
        with open(os.path.join(self.path, name), "w") as file:
            file.write("\n".join(text for lines in blocks for text in lines) + "\n")

    def image(self, name, image):
        """Texel k of a row is read at k / width, and rows enter with v = 0 first."""
        pictures.write_pfm(os.path.join(self.path, "image", name), image.texels(0.0))
        return name


def shader_layer(directory, name, layer, material, only, sampled):
    emission = tuple(layer.emissive)
    emission_image = layer.emissive_image and directory.image(f"{name}_e.pfm", layer.emissive_image)
    return block(
        "surface_shader",
        slot("lambertian", layer.lambertian), slot("transmissive", layer.transmissive),
        slot("glossy", layer.glossy), slot("specular", layer.specular),
        slot("emissive", emission, emission_image), slot("ior", (layer.ior,) * 3),
        slot("roughness", (layer.roughness,) * 3),
        slot("normal", (1.0, 1.0, 1.0), directory.image(f"{name}_n.pfm", layer.normal_image))
        if layer.normal_image else [],
        [] if only else slot("weight", (layer.weight,) * 3),
        ("sideness", "face" if material.one_sided else "both"),
        ("virtual_light", int(sampled and emission != BLACK)))


def shader(directory, name, material, scene):
    layers = [shader_layer(directory, f"{name}{i}", layer, material, len(material.layers) == 1,
                           scene.light_sample > 0) for i, layer in enumerate(material.layers)]
    parts = [("name", name), *layers]
    if material.displacement:
        image, level = material.displacement
        parts.append(block("geometry_shader", ("smooth_angle", 91.0),
                           block("vector", ("level", level),
                                 ("image", directory.image(f"{name}_d.pfm", image)))))
    if material.absorption:
        parts.append(block("volume_shader", ("transmittance", material.absorption)))
    return block("shader", *parts)


def light(source):
    if isinstance(source, Sun):
        return block("parallel_light", ("color", source.color), ("direction", source.direction),
                     ("blur", source.blur), ("offset", 0.0), ("sample", 512))
    return block("point_light", ("color", source.color), ("position", source.position),
                 ("blur", source.radius), ("inner_angle", 180.0), ("outer_angle", 180.1),
                 ("offset", 0.0), ("sample", 512))


def lights(directory, scene):
    sky = [("color", scene.sky), ("sample", scene.light_sample), ("photon", scene.photons)]
    if scene.sky_image:
        sky.append(("image", directory.image("sky.pfm", scene.sky_image)))
    if scene.transmittance != (1.0, 1.0, 1.0):
        sky.append(block("volume_shader", ("transmittance", scene.transmittance)))
    emitters = block("geometry_light", ("sample", scene.light_sample), ("photon", scene.photons))
    return [block("sky_light", *sky), emitters, *map(light, scene.lights)]


def write_obj(path, meshes):
    """Corner k of the file has texture coordinate k."""
    texts, first = [], 1
    for mesh in meshes:
        uvs = mesh.uvs or [(0, 0)] * len(mesh.points)
        texts += [f"v {x:.9g} {y:.9g} {z:.9g}" for x, y, z in mesh.points]
        texts += [f"vt {u:.9g} {v:.9g}" for u, v in uvs]
        texts.append(f"usemtl {mesh.material}")
        texts += ["f " + " ".join(f"{first + i}/{first + i}" for i in face) for face in mesh.faces]
        first += len(mesh.points)
    with open(path, "w") as file:
        file.write("\n".join(texts) + "\n")


def write_hair(path, radius):
    """The strand, and one whose points coincide: each strand takes one vertex's tangent away."""
    points = numpy.array([(-0.5, 0, 0), (0.5, 0, 0), (90, 0, 0), (90, 0, 0)], "<f4")
    with open(path, "wb") as file:
        file.write(struct.pack("<4sIIIIf", b"HAIR", 2, 4, 2, 1, 2 * radius).ljust(128, b"\0"))
        file.write(points.tobytes())


def geometry(directory, scene):
    folder = os.path.join(directory.path, "geometry")
    plain = [mesh for mesh in scene.meshes if not mesh.instances]
    objects, root = [], ["name root"]
    if plain:
        write_obj(os.path.join(folder, "plain.obj"), plain)
        root.append(("obj", "plain.obj"))
    if scene.strand:
        write_hair(os.path.join(folder, "strand.hair"), scene.strand.radius)
        root += [("shader", scene.strand.material), ("hair", "strand.hair")]
    for number, mesh in enumerate(mesh for mesh in scene.meshes if mesh.instances):
        name = f"instanced{number}"
        write_obj(os.path.join(folder, name + ".obj"), [mesh])
        objects.append(block("object", f"name {name}", ("obj", name + ".obj")))
        root += [block("instance", f"object {name}", ("matrix", matrix))
                 for matrix in mesh.instances]
    return [*objects, block("object", *root)]


def camera(scene):
    pose = block("pose", ("position", scene.camera.position), ("target", scene.camera.target),
                 ("up_vector", tuple(scene.camera.up)), ("field_of_view", scene.camera.fov))
    return block("camera", ("resolution", (scene.resolution,) * 2), ("sample", scene.frames), pose,
                 pose)


def render_block(scene, estimator):
    gather = [("bounce", scene.levels), ("ray_depth", 24), ("sample", scene.gather)]
    gather += ([("distance", 0.5), ("resolution", 0.01), ("photon_depth", 24), ("radius", 0.05)]
               if scene.photons else [("distance", 0.0)])
    estimation = [] if estimator == "classic" else [("estimator", estimator)]
    return block("render", *estimation, block("final_gather", *gather))


def is_glass(material):
    """Scene files have no key for it: a host adds the shader."""
    return any(layer.material != "opaque" for layer in material.layers)


def write(scene, path, estimator):
    directory = Directory(path)
    directory.write("shader/all.mh", *(shader(directory, name, material, scene)
                                       for name, material in scene.materials.items()
                                       if not is_glass(material)))
    directory.write("render/all.mh", render_block(scene, estimator))
    directory.write("light/all.mh", *lights(directory, scene))
    directory.write("geometry/all.mh", *geometry(directory, scene))
    directory.write("camera/all.mh", camera(scene))


def command(name, scene, folder, build):
    if not any(map(is_glass, scene.materials.values())):
        return [os.path.join(build, "tools/moonhare"), "scene", "--progress", "none",
                "--beauty", "beauty.pfm"]
    os.remove(os.path.join(folder, "scene/camera/all.mh"))
    return [sys.executable, os.path.join(HERE, "glass_host.py"), name]


def render(name, scene, folder, build, estimator):
    """The picture in the estimator "classic" or "exact"."""
    write(scene, os.path.join(folder, "scene"), estimator)
    places = {"PYTHONPATH": os.path.join(build, "python"),
              "LD_LIBRARY_PATH": os.path.join(build, "src")}
    run = subprocess.run(command(name, scene, folder, build), cwd=folder, capture_output=True,
                         text=True, env={**os.environ, **places})
    with open(os.path.join(folder, "report.txt"), "w") as report:
        report.write(run.stdout + run.stderr)
    if run.returncode != 0 or "error :(" in run.stdout:
        raise RuntimeError(f"{name}: see {folder}/report.txt")
    return pictures.read_pfm(os.path.join(folder, "beauty.pfm"))
