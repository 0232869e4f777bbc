#!/bin/sh
# Makes the Debian package of a build and looks at its content and dependencies.
# usage: debian.sh BUILD_DIRECTORY WORK_DIRECTORY
set -eu
rm -rf "$2"
mkdir -p "$2"
cpack --config "$1/CPackConfig.cmake" -B "$2" >/dev/null
package=$(ls "$2"/*.deb)
dpkg-deb --contents "$package" >"$2/content"
for file in bin/moonhare include/moonhare.h lib/libmh.so lib/pkgconfig/moonhare.pc \
    libexec/moonhare/moonhare-decode lib/cmake/moonhare/moonhareConfig.cmake share/man/man1/moonhare.1 \
    lib/python3/dist-packages/moonhare/__init__.py lib/python3/dist-packages/moonhare/farm/__main__.py; do
    grep -q "./usr/$file" "$2/content" || { echo "missing: $file"; exit 1; }
done
for dependency in libc6 libfreeimage3 libgomp1 libglut3 libseccomp2; do
    dpkg-deb --field "$package" Depends | grep -q "$dependency" ||
        { echo "missing dependency: $dependency"; exit 1; }
done
