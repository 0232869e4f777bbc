#!/bin/sh
# Fails when a source file is not as clang-format leaves it, or has a line, comments included, of
# more than 100 columns; names the places.
# usage: check_format.sh SOURCE_DIRECTORY
set -eu
cd "$1"
sources=$(find src tests tools bench examples fuzz -name '*.cpp' -o -name '*.h' -o -name '*.c')
echo "$sources" | xargs clang-format --dry-run --Werror
if echo "$sources" | xargs grep -nE '^.{101,}'; then exit 1; fi
