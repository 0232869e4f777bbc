#!/bin/sh
# Builds and runs a host against an installed tree, in a folder of its own, and looks at its picture.
# usage: consume.sh KIND SOURCE_DIRECTORY TREE WORK_DIRECTORY
set -eu
kind=$1 source=$2 tree=$3 work=$4
export LD_LIBRARY_PATH="$tree/lib"
export PKG_CONFIG_PATH="$tree/lib/pkgconfig:$tree/lib/$(uname -m)-linux-gnu/pkgconfig"
strict="-std=c99 -pedantic -Wall -Wextra -Werror"

rm -rf "$work"
mkdir -p "$work"
cd "$work"

case $kind in
cmake)
    cmake -G Ninja -S "$source/examples/host_cpp" -B build -DCMAKE_PREFIX_PATH="$tree"
    cmake --build build
    build/host >report
    picture=host_cpp.png
    ;;
pkg_config)
    cc $strict "$source/examples/host_c/host.c" $(pkg-config --cflags --libs moonhare) -o host
    ./host >report
    picture=host_c.png
    ;;
dlopen)
    cc $strict "$source/tests/package/dlopen_host.c" -o host -ldl
    ./host "$(ls "$tree"/lib/libmh.so.?)" "$source/tests/package/scene/" >report
    picture=beauty.hdr
    ;;
python)
    export PYTHONPATH="$tree/lib/python3/dist-packages"
    python3 "$source/examples/host_python/host.py" >report
    python3 "$source/tests/package/module_test.py"
    picture=host_python.png
    # The classes need NumPy, which Debian's own Python has.
    if /usr/bin/python3 -c "import numpy"; then /usr/bin/python3 -B "$source/tests/package/classes_test.py"; fi
    ;;
pip)
    [ "${MOONHARE_TESTS-}" = package ] || { echo "./run test package runs it"; exit 77; }
    /usr/bin/python3 -m venv environment
    MOONHARE_TREE=$tree PIP_NO_INDEX=1 environment/bin/pip install --no-cache-dir "$source"
    unset LD_LIBRARY_PATH
    environment/bin/python "$source/examples/host_python/host.py" >report
    environment/bin/moonhare --version
    picture=host_python.png
    ;;
program)
    "$tree/bin/moonhare" "$source/tests/package/scene" --threads 2 >report
    "$tree/bin/moonhare" convert beauty.hdr picture.png
    status=0
    "$tree/bin/moonhare" "$work/nowhere" 2>message || status=$?
    test $status = 2
    grep -q "nowhere does not exist" message
    "$tree/bin/moonhare" convert beauty.hdr picture.tif
    "$tree/bin/moonhare" convert picture.tif from_tif.png # by the helper
    mkdir alone && cp "$tree/bin/moonhare" alone
    if alone/moonhare convert picture.tif again.png 2>message; then exit 1; fi
    grep -q "helper program .*moonhare-decode, which is not installed" message
    alone/moonhare "$source/tests/package/scene" --preview >message
    grep -q "no window: it needs .*moonhare-preview.so, which is not installed" message
    picture=picture.png
    ;;
esac

if grep "error :(" report; then exit 1; fi
case $picture in
*.png) head -c 4 $picture | grep -q PNG ;;
*.hdr) head -c 2 $picture | grep -q "#?" ;;
esac
