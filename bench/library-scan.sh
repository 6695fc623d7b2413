#!/bin/sh
# The recordings list over 10,000 recordings: a restart with the warm duration
# cache, a cold scan that decodes every file, and `soxi -D` over the same files
# in the same run (see bench_library_scan.cpp). Prints the table kept in
# docs/performance.md.
#   bench/library-scan.sh BUILD_FOLDER [FILES]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [FILES]}" && pwd)
prog=$build/bench/bench_library_scan
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_library_scan" >&2; exit 1; }
command -v soxi >/dev/null || { echo "soxi is missing (Debian: sox libsox-fmt-mp3)" >&2; exit 1; }
out=$(mktemp "${TMPDIR:-/tmp}/vocarta-library-bench.XXXXXX")
trap 'rm -f "$out"' EXIT
VOCARTA_BENCH_FILES=${2:-10000} "$prog" --benchmark_out="$out" --benchmark_out_format=json \
    >/dev/null
/usr/bin/python3 - "$out" <<'PY'
import json, sys

runs = {b["run_name"].split("/")[0]: b for b in json.load(open(sys.argv[1]))["benchmarks"]
        if b.get("run_type") == "iteration"}
labels = {"BM_ListWarmCache": "list with the warm cache (restart)",
          "BM_ScanCold": "cold scan, every file decoded",
          "BM_SoxiCold": "`soxi -D` over the same files"}
print("| what | wall time per listing | rows |")
print("|---|---|---|")
for name, label in labels.items():
    if name in runs:
        b = runs[name]
        rows = int(b["rows"]) if "rows" in b else "-"
        print(f"| {label} | {b['real_time']:.1f} ms | {rows} |")
if "BM_ScanCold" in runs and "BM_SoxiCold" in runs:
    print(f"\ncold scan: {runs['BM_SoxiCold']['real_time'] / runs['BM_ScanCold']['real_time']:.1f}x "
          "the speed of soxi")
PY
