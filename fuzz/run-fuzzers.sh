#!/bin/sh
# Runs every fuzz target built in BUILD_FOLDER for SECONDS each, on a scratch
# copy of its committed seed corpus (fuzz/corpus/<name>/, which is only read),
# JOBS targets at a time. Fails when a target crashes, leaks or trips a
# sanitizer; the input that did it is left in BUILD_FOLDER as <name>-crash-*.
#   fuzz/run-fuzzers.sh [BUILD_FOLDER] [SECONDS] [JOBS]
set -eu
build=$(cd "${1:-build-asan}" && pwd)
seconds=${2:-60}
jobs=${3:-1}
here=$(cd "$(dirname "$0")" && pwd)
results=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-fuzz-results.XXXXXX")
trap 'rm -rf "$results"' EXIT

run_one() {
    target=$1
    name=${target##*/fuzz_}
    seeds="$here/corpus/$name"
    log="$results/$name.log"
    if [ ! -d "$seeds" ]; then
        echo "$name: no seed corpus in $seeds" >"$log"
        echo 1 >"$results/$name.rc"
        return
    fi
    work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-fuzz-$name.XXXXXX")
    rc=0
    "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$build/$name-" "$work" "$seeds" \
        >"$log" 2>&1 || rc=$?
    rm -rf "$work"
    echo $rc >"$results/$name.rc"
}

found=0
running=0
for target in "$build"/fuzz_*; do
    [ -x "$target" ] || continue
    found=1
    echo "== ${target##*/fuzz_}, ${seconds} s"
    run_one "$target" &
    running=$((running + 1))
    if [ "$running" -ge "$jobs" ]; then
        wait
        running=0
    fi
done
wait
[ "$found" = 1 ] || { echo "no fuzz targets in $build: run 'make fuzz' first" >&2; exit 1; }

status=0
for rc in "$results"/*.rc; do
    name=$(basename "$rc" .rc)
    if [ "$(cat "$rc")" != 0 ]; then
        echo "$name: FAILED" >&2
        cat "$results/$name.log" >&2
        status=1
    else
        grep -E "^stat::number_of_executed_units|Done [0-9]+ runs" "$results/$name.log" |
            sed "s/^/$name: /" || true
    fi
done
exit $status
