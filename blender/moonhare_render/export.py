"""The whole scene, from the dependency graph to a scene directory.
SPDX-License-Identifier: MIT"""
from dataclasses import dataclass, field

import numpy

from . import compat, passes
from .camera import View, view_of
from .geometry import Geometry
from .lights import Lights
from .shaders import Materials
from .strands import Strands
from .textures import Pictures
from .world import add_world


@dataclass
class Job:
    """What a scene directory shows."""
    view: View | None = None
    passes: list = field(default_factory=list)
    transparent: bool = False


def render_block(scene, settings):
    frames = settings.samples
    gather = settings.mode == "gather"
    scene.add(
        "render", estimator=settings.estimator, seed=settings.seed,
        clamp=(settings.clamp,) * 3 if settings.clamp > 0 else None,
        final_gather={
            "distance": settings.gather_distance if gather else 0.0,
            "resolution": settings.gather_cell ** 2 if gather else None,
            "radius": settings.gather_distance if gather else None,
            "bounce": settings.bounces, "ray_depth": settings.ray_depth,
            "sample": frames * settings.gather_rays})


def add_objects(depsgraph, geometry, strands, lights, report):
    for instance in depsgraph.object_instances:
        ob = instance.object
        if not instance.show_self and not instance.show_particles:
            continue
        if ob.type == "LIGHT" and instance.show_self:
            lights.add(instance)
        elif ob.type == "CURVES" and instance.show_self:
            strands.add_curves(instance, compat.curves_arrays(ob.data))
        elif instance.show_self:
            geometry.add(instance)
        if instance.show_particles and not instance.is_instance and ob.particle_systems:
            strands.add_systems(ob)


def camera_block(scene, job, settings, aovs):
    view = job.view
    whole = (0, 0, *view.resolution)
    backdrop = scene.picture("backdrop", numpy.ones((1, 1, 3), numpy.float32)) \
        if job.transparent else None
    scene.add("camera", resolution=view.resolution, sample=settings.samples,
              region=None if view.region == whole else view.region, projection=view.projection,
              pose=[view.pose, view.pose], aov=aovs)
    return backdrop


def export(depsgraph, scene, settings, report, link):
    """Fills a scene, which is written last, and returns what it shows. Errors go to the report."""
    origin = depsgraph.scene
    job = Job(transparent=origin.render.film_transparent)
    lamps = passes.lamp_names(origin)
    job.passes = passes.wanted_passes(depsgraph.view_layer_eval, settings, lamps)
    camera_aovs = passes.camera_aovs(job.passes, job.transparent)
    pictures = Pictures(scene, report, link)
    materials = Materials(scene, pictures, report)
    has_uv = any(p.name == "UV" for p in job.passes)
    geometry = Geometry(scene, materials, report, settings.estimator == "classic", has_uv)
    strands = Strands(scene, materials, report, geometry.instances)

    def lamp_aov(name):
        return passes.lamp_aov(job.passes, name, report)

    lights = Lights(scene, pictures, report, settings, geometry.instances, lamp_aov)
    add_objects(depsgraph, geometry, strands, lights, report)
    job.view = view_of(origin, geometry.instances, report)
    if job.view is None:
        return None
    if not geometry.instances:
        report.error("nothing to render: no object has a face or a strand")
        return None
    geometry.write()
    materials.write()
    if lights.areas or materials.glow:
        scene.add("geometry_light", sample=settings.samples * settings.light_rays,
                  photon=settings.photons if settings.mode == "gather" else 0,
                  aov=lights.area_aovs or None)
    backdrop = camera_block(scene, job, settings, camera_aovs)
    add_world(scene, origin.world, pictures, report, settings, lamp_aov, backdrop)
    render_block(scene, settings)
    scene.write()
    report.fact(f"{geometry.triangles:,} triangles in {len(geometry.instances):,} instances, "
                f"{strands.count:,} strands; {scene.reused} files were there already")
    return job
