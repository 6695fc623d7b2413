#!/bin/sh
# Runs every fuzz target built in BUILD_FOLDER for SECONDS each, on a scratch
# copy of its committed seed corpus (fuzz/corpus/<name>/, which is only read).
# Fails when a target crashes, leaks or trips a sanitizer; the input that did it
# is left in BUILD_FOLDER as <name>-crash-*.
#   fuzz/run-fuzzers.sh [BUILD_FOLDER] [SECONDS]
set -eu
build=$(cd "${1:-build-fuzz}" && pwd)
seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)
status=0
found=0
for target in "$build"/fuzz_*; do
    [ -x "$target" ] || continue
    found=1
    name=${target##*/fuzz_}
    seeds="$here/corpus/$name"
    if [ ! -d "$seeds" ]; then
        echo "$name: no seed corpus in $seeds" >&2
        status=1
        continue
    fi
    work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-fuzz-$name.XXXXXX")
    echo "== $name, ${seconds} s"
    if ! "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$build/$name-" "$work" "$seeds"; then
        echo "$name: FAILED" >&2
        status=1
    fi
    rm -rf "$work"
done
[ "$found" = 1 ] || { echo "no fuzz targets in $build: run 'make fuzz' first" >&2; exit 1; }
exit $status
