#!/bin/sh
# Installs the packages by apt in a small Debian made for it, which gets what they depend on from the
# mirror of this system; renders there, removes them, and compares the files with those of before.
# usage: clean_system.sh PACKAGES_DIRECTORY SOURCE_DIRECTORY WORK_DIRECTORY
set -eu
skip() { echo "skipped: $*"; exit 77; }
[ "${MOONHARE_TESTS-}" = package ] || skip "./run test package runs it"
[ "$(id -u)" = 0 ] || skip "only root can install packages in a system of its own"
command -v mmdebstrap >/dev/null || skip "mmdebstrap is not installed"
packages=$1 source=$2 work=$3 system=$3/system
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 'Origin: Debian' \
    "Codename: $codename" 'Component: main' | head -n 1)
[ -n "$mirror" ] || skip "apt knows of no mirror of Debian $codename"
unshare --mount true || skip "this container may not mount"

rm -rf "$work"
mkdir -p "$work"
mmdebstrap --quiet --variant=apt --skip=cleanup/apt/lists "$codename" "$system" "$mirror" 2>"$work/log" ||
    { cat "$work/log"; skip "no system could be made from $mirror"; }
cp -L /etc/resolv.conf "$system/etc/resolv.conf"

# The folders of /proc that the program and scripts of packages ask for go when this shell ends.
inside() {
    unshare --mount sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$system" "$@"
}
manage() {
    inside env DEBIAN_FRONTEND=noninteractive apt-get --quiet --yes "$@" >"$work/log" 2>&1 ||
        { cat "$work/log"; exit 1; }
}
files() {
    (cd "$system" && find . \( -path ./proc -o -path ./var/cache -o -path ./var/log -o -path ./var/lib/apt \
        -o -path ./var/lib/dpkg -o -path ./try \) -prune -o -print | sort)
}

files >"$work/before"
mkdir "$system/try"
cp "$packages"/*.deb "$system/try"
cp -r "$source/tests/package/scene" "$system/try"
manage install --no-install-recommends $(cd "$system" && ls ./try/*.deb)
inside sh -euc '
    cd /try
    moonhare scene --quiet
    moonhare convert beauty.hdr beauty.tif # writes, and reads again, by the helpers
    moonhare convert beauty.tif beauty.png
    python3 -c "import moonhare; print(moonhare.__version__)"'
head -c 4 "$system/try/beauty.png" | grep -q PNG
manage purge --autoremove libmh0 libmh-dev moonhare moonhare-pictures moonhare-preview python3-moonhare moonhare-doc
files >"$work/after"
diff "$work/before" "$work/after"
rm -rf "$system"
