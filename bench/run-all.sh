#!/bin/sh
# Runs every benchmark program and script; pass the build folder.
set -eu
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
for b in "$build"/bench/bench_*; do
    [ -x "$b" ] || continue
    echo "== $b"
    "$b"
done
for s in "$here"/*.sh; do
    [ "$(basename "$s")" = run-all.sh ] && continue
    echo "== $s"
    "$s" "$build"
done
