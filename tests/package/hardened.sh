#!/bin/sh
# Programs and library of a build: position independent, tables bound and read-only after start,
# stack protected, calls of the C library checked.
# usage: hardened.sh FILE...
set -eu
for file; do
    readelf -hW "$file" | grep -q "DYN " || { echo "$file: fixed position"; exit 1; }
    readelf -lW "$file" | grep -q GNU_RELRO || { echo "$file: no RELRO"; exit 1; }
    readelf -dW "$file" | grep -q "NOW" || { echo "$file: bound late"; exit 1; }
    readelf --dyn-syms -W "$file" | grep -q "__stack_chk_fail" || { echo "$file: bare stack"; exit 1; }
done
readelf --dyn-syms -W "$1" | grep -q "__[a-z]*_chk" || { echo "$1: not fortified"; exit 1; }
