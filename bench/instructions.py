"""Instructions, mispredicted branches and last-level misses as callgrind counts them: per ray of
our walks and of Embree's, and per path of two example scenes by part. Unlike times these do not
depend on what else the machine does. Hashes of all hits of those rays are compared as well.

usage: instructions.py BUILD [--accept]
--accept makes these counts and hashes the ones that later runs are compared with.
"""
# SPDX-License-Identifier: MIT
import collections
import pathlib
import re
import subprocess
import sys
import tempfile

FOLDER = pathlib.Path(__file__).resolve().parent
ACCEPTED = FOLDER / "instructions.tsv"
HITS = FOLDER / "hits.txt"
# The same simulated caches on every machine; the last level is the L2 of a core.
CALLGRIND = ["valgrind", "--tool=callgrind", "--branch-sim=yes", "--cache-sim=yes",
             "--I1=32768,8,64", "--D1=32768,8,64", "--LL=1048576,16,64"]
RAYS = 64       # a side of the picture of primary rays
Counts = collections.namedtuple("Counts", "instructions mispredicted misses")

# As many frames as gather rays and light samples: a pixel of a frame is one path, with one sample
# of a light at each point. A seed makes runs repeatable.
PATHS = ["--mode", "path", "--gather", "128", "--bounce", "8", "--ray-depth", "12"]
# The example, a side of the picture, frames, options.
RENDERS = {
    "room, classic": ("cornell", 16, 128, PATHS),
    "room, exact": ("cornell", 16, 128, PATHS + ["--estimator", "exact"]),
    "balls in the sun": ("sky", 16, 128, PATHS),
    "room, gathering": ("cornell", 32, 5, ["--mode", "gather"]),
}

# The first pattern that matches the source file; code inlined from src/math and from headers of the
# compiler belongs to the file of the function around it unless a pattern names it.
PARTS = [
    ("random numbers", r"src/math/(random|sequence|sobol|hash)\."),
    ("enter and leave a walk", r"src/accel/(walk\.cpp|walk_inl|walk_ray_inl)"),
    ("walk", r"src/accel/"),
    ("surface point", r"src/hit/"),
    ("layers", r"src/shading/|src/integrate/(radiance|bounces)\."),
    ("light sample", r"src/lights/|src/math/discrete_sampler"),
    ("spawn", r"src/integrate/children\.|src/math/sampling\.cpp"),
    ("film", r"src/output/|src/integrate/(pixel_loop|frame_sums|whole_frames)\."),
    ("other", ""),
]


def part_of(inlined, function_file):
    if not re.search(r"src/(?!math/)\w+/|src/math/(random|sequence|sobol|hash)\.", inlined):
        inlined = function_file
    return next(part for part, pattern in PARTS if re.search(pattern, inlined))


def counts_of(events):
    def total(*names):
        return sum(events[name] for name in names)

    return Counts(events["Ir"], total("Bcm", "Bim"), total("ILmr", "DLmr", "DLmw"))


def read_profile(path):
    """The label of a dump, and its counts by part."""
    label, names, files, events = "", [], {}, collections.defaultdict(collections.Counter)
    own = inlined = ""
    called = False
    for line in path.read_text().splitlines():
        if line.startswith("desc: Trigger: Client Request: "):
            label = line.removeprefix("desc: Trigger: Client Request: ")
        elif line.startswith("events: "):
            names = line.split()[1:]
        elif match := re.match(r"(fl|fi|fe|cfi|cfl)=\((\d+)\)(?: (.*))?$", line):
            kind, number, name = match.groups()
            files.setdefault(number, name)
            if kind == "fl":
                own = files[number]
            if kind in ("fl", "fi", "fe"):
                inlined = files[number]
        elif line.startswith("calls="):
            called = True
        elif re.match(r"[0-9+*-]", line):
            if not called:  # the line after a call repeats what the callee counts
                costs = dict(zip(names, map(int, line.split()[1:])))
                events[part_of(inlined, own)].update(costs)
            called = False
    return label, {part: counts_of(sums) for part, sums in events.items()}


def run(options, command, folder):
    done = subprocess.run(CALLGRIND + [f"--callgrind-out-file={folder}/profile"] + options
                          + command, cwd=folder, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command[0]} ended with status {done.returncode} under valgrind:\n{done.stderr}")


def scaled(counts, divisor):
    return Counts(*(value / divisor for value in counts))


def added(counts):
    return Counts(*map(sum, zip(*counts)))


def count_rays(build):
    """{(scene, rays): {side: counts per ray}}"""
    table = collections.defaultdict(dict)
    with tempfile.TemporaryDirectory() as folder:
        # Idle threads of OpenMP and TBB spin for a while: only the first thread casts rays.
        run(["--instr-atstart=no", "--separate-threads=yes"],
            [f"{build}/bench/ray_counts", str(RAYS)], folder)
        dumps = pathlib.Path(folder).glob("profile.*-01")
        for path in sorted(dumps, key=lambda path: int(path.name.split(".")[1].split("-")[0])):
            label, parts = read_profile(path)
            if label:
                scene, kind, side, rays = label.split("|")
                table[scene, kind][side] = scaled(added(parts.values()), int(rays))
    return table


def count_paths(build, scene, size, frames, options):
    """{part: counts per pixel and frame}"""
    with tempfile.TemporaryDirectory() as folder:
        run(["--toggle-collect=mh::RenderPixels(unsigned int)"],
            [f"{build}/tools/moonhare", str(FOLDER.parent / "examples" / scene), "--quiet",
             "--seed", "1",
             "--threads", "1", "--resolution", f"{size}x{size}", "--sample", str(frames), *options],
            folder)
        parts = read_profile(pathlib.Path(folder) / "profile")[1]
    if not parts:
        sys.exit(f"{scene}: no frame was counted; is RenderPixels still what renders one?")
    return {part: scaled(counts, size * size * frames) for part, counts in parts.items()}


def read_accepted():
    if not ACCEPTED.exists():
        return {}
    rows = (line.split("\t") for line in ACCEPTED.read_text().splitlines()[1:])
    return {row[0]: Counts(*map(float, row[1:])) for row in rows}


def write_accepted(measured):
    lines = ["\t".join(("what", *Counts._fields))]
    lines += [f"{what}\t{c.instructions:.1f}\t{c.mispredicted:.3f}\t{c.misses:.3f}"
              for what, c in measured.items()]
    ACCEPTED.write_text("\n".join(lines) + "\n")


def change(what, counts, accepted):
    if what not in accepted:
        return "new"
    return f"{100 * (counts.instructions / accepted[what].instructions - 1):+.1f} %"


def report_rays(table, accepted, measured):
    print("Per ray, and Embree's of medium or high quality with the fewest instructions:\n")
    print("| scene | rays | instructions | change | Embree | ratio "
          "| mispredicted | Embree | misses | Embree |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    for (scene, kind), sides in table.items():
        ours = next(counts for side, counts in sides.items() if side.startswith("moonhare"))
        others = [counts for side, counts in sides.items() if side.startswith("Embree")]
        what = f"{scene}, {kind}"
        measured[what] = ours
        cells = ["", "", "", ""]
        if others:
            best = min(others)
            cells = [f"{best.instructions:,.0f}", f"{ours.instructions / best.instructions:.2f}",
                     f"{best.mispredicted:.1f}", f"{best.misses:.2f}"]
        print(f"| {scene} | {kind} | {ours.instructions:,.0f} | {change(what, ours, accepted)} "
              f"| {cells[0]} | {cells[1]} | {ours.mispredicted:.1f} | {cells[2]} "
              f"| {ours.misses:.2f} | {cells[3]} |")
    print("\nsides: " + ", ".join(dict.fromkeys(side for sides in table.values()
                                                for side in sides)))


def report_paths(name, parts, accepted, measured):
    print(f"\n{name}, per pixel and frame:\n")
    print("| part | instructions | share | change | mispredicted | misses |")
    print("|---|---|---|---|---|---|")
    whole = added(parts.values())
    for part in [part for part, _ in PARTS if part in parts] + ["all"]:
        counts = parts.get(part, whole)
        what = f"{name}, {part}"
        measured[what] = counts
        share = 100 * counts.instructions / whole.instructions
        print(f"| {part} | {counts.instructions:,.0f} | {share:.1f} % "
              f"| {change(what, counts, accepted)} | {counts.mispredicted:.2f} "
              f"| {counts.misses:.3f} |")


def report_hits(build):
    done = subprocess.run([f"{build}/bench/ray_counts", str(RAYS)], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"ray_counts ended with status {done.returncode}")
    known = HITS.read_text().splitlines() if HITS.exists() else []
    changed = [line for line in done.stdout.splitlines() if line not in known]
    print("Hits that have changed:\n" + "\n".join(changed) if changed else "Hits are unchanged.")
    return done.stdout


def main(build, *options):
    if options not in ((), ("--accept",)):
        sys.exit(__doc__)
    build = pathlib.Path(build).resolve()
    accepted, measured = read_accepted(), {}
    hits = report_hits(build)
    report_rays(count_rays(build), accepted, measured)
    for name, render in RENDERS.items():
        report_paths(name, count_paths(build, *render), accepted, measured)
    if "--accept" in options:
        write_accepted(measured)
        HITS.write_text(hits)


if __name__ == "__main__":
    main(*sys.argv[1:])
