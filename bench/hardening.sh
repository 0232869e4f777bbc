#!/bin/sh
# What hardening costs: the room example rendered on one thread by programs built with and without
# it, by turns. Prints the processor seconds of every run, and the ratio of the medians.
# usage: bench/hardening.sh [RUNS]
set -eu
runs=${1:-5}
pictures=$(mktemp -d)
trap 'rm -r "$pictures"' EXIT
for kind in ON OFF; do
    cmake --preset release -B build/hardening_$kind -DBUILD_TESTING=OFF -DMOONHARE_HARDENING=$kind \
        >/dev/null
    ninja -C build/hardening_$kind moonhare >/dev/null
done
python3 - "$PWD" "$pictures" "$runs" <<'PYTHON'
import os, statistics, subprocess, sys

project, pictures, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])
seconds = {"ON": [], "OFF": []}
for _ in range(runs):
    for kind, times in seconds.items():
        before = os.times()
        subprocess.run([f"{project}/build/hardening_{kind}/tools/moonhare",
                        f"{project}/examples/cornell", "--threads", "1", "--resolution", "256x256",
                        "--progress", "none"], cwd=pictures, stdout=subprocess.DEVNULL, check=True)
        after = os.times()
        times.append(after.children_user - before.children_user)
for kind, times in seconds.items():
    print("hardening", kind, " ".join("%.2f" % t for t in times))
medians = {kind: statistics.median(times) for kind, times in seconds.items()}
print("ratio of medians %.3f" % (medians["ON"] / medians["OFF"]))
PYTHON
