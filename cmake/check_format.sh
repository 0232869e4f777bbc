#!/bin/sh
# Fails when a source file is not as clang-format leaves it; names the places.
# usage: check_format.sh SOURCE_DIRECTORY
set -eu
cd "$1"
find src tests tools bench examples fuzz -name '*.cpp' -o -name '*.h' -o -name '*.c' |
    xargs clang-format --dry-run --Werror
