#!/bin/sh
# Makes the Debian packages of a build, looks at what they hold and depend on, asks lintian, and has
# a system of its own install them, build hosts against them and remove them.
# usage: debian.sh BUILD_DIRECTORY SOURCE_DIRECTORY WORK_DIRECTORY
set -eu
[ "${MOONHARE_TESTS-}" = package ] || { echo "./run test package runs it"; exit 77; }
build=$1 source=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
python3 "$source/cmake/make_debian.py" "$build" "$work"
fail() { echo "$*"; exit 1; }

holds() { # PACKAGE FILE...
    package=$1; shift
    dpkg-deb --contents "$work/$package"_*.deb >"$work/content"
    for file in "$@"; do
        grep -q "./usr/$file" "$work/content" || fail "$package lacks $file"
    done
}
depends() { dpkg-deb --field "$work/$1"_*.deb Depends; }

holds libmh0 lib/libmh.so.0 libexec/moonhare/moonhare-decode
holds libmh-dev include/moonhare.h lib/libmh.so "lib/.*/pkgconfig/moonhare.pc" \
    lib/cmake/moonhare/moonhareConfig.cmake
holds moonhare bin/moonhare libexec/moonhare/moonhare-import share/man/man1/moonhare.1.gz \
    share/moonhare/moonhare-blender.zip
holds moonhare-pictures libexec/moonhare/moonhare-pictures
holds moonhare-preview libexec/moonhare/moonhare-preview.so
holds python3-moonhare lib/python3/dist-packages/moonhare/rendering/scene.py \
    lib/python3/dist-packages/moonhare/farm/__main__.py
holds moonhare-doc share/doc/moonhare-doc/docs/tutorial.md share/doc/moonhare-doc/examples/cornell \
    share/doc/moonhare-doc/copyright
for dependency in libc6 libfreeimage3 libgomp1 libseccomp2; do
    depends libmh0 | grep -q "$dependency" || fail "libmh0 does not depend on $dependency"
done
depends moonhare-preview | grep -q libglut3 || fail "moonhare-preview does not depend on libglut3"
for package in libmh0 moonhare python3-moonhare; do
    if depends $package | grep -E "glut|libgl|libx11"; then fail "$package needs a window library"; fi
done

if command -v lintian >/dev/null; then
    (cd "$work" && LC_ALL=C lintian --allow-root --fail-on error,warning ./*.deb)
fi

# Needs root, or user name spaces in which one is: dpkg changes owners.
[ "$(id -u)" = 0 ] || exit 0
root=$work/root
mkdir -p "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/info"
: >"$root/var/lib/dpkg/status"
manage() { dpkg --root="$root" --log=/dev/null --force-depends --force-script-chrootless "$@" >/dev/null 2>"$work/log" || { cat "$work/log"; exit 1; }; }
manage --install "$work"/*.deb
for kind in cmake pkg_config program; do
    "$(dirname "$0")/consume.sh" $kind "$source" "$root/usr" "$work/$kind" >/dev/null
done
python3 -m compileall -q "$root/usr/lib/python3/dist-packages/moonhare"
manage --purge libmh0 libmh-dev moonhare moonhare-pictures moonhare-preview python3-moonhare moonhare-doc
left=$(find "$root" -path "$root/var" -prune -o -type f -print)
[ -z "$left" ] || fail "left behind: $left"
