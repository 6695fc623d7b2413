#!/bin/sh
# The MP3, FLAC and AIFF sinks against the lame and flac command-line encoders
# (see bench_audio_codecs.cpp): five repetitions each, run in random
# interleaved order, reported as the time one hour of audio takes by wall
# clock and by CPU (median of the repetitions and their range), and the sink's
# speed over the encoder's.
#   bench/codecs-vs-cli.sh BUILD_FOLDER [MINUTES]
# MINUTES (default 10) is the audio encoded per repetition, scaled to an hour.
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [MINUTES]}" && pwd)
prog=$build/bench/bench_audio_codecs
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_audio_codecs" >&2; exit 1; }
for tool in lame flac /usr/bin/python3; do
    command -v "$tool" >/dev/null || { echo "$tool is missing (Debian: lame flac)" >&2; exit 1; }
done
out=$(mktemp "${TMPDIR:-/tmp}/vocarta-codecs-bench.XXXXXX")
trap 'rm -f "$out"' EXIT
VOCARTA_BENCH_MINUTES=${2:-10} "$prog" --benchmark_enable_random_interleaving=true \
    --benchmark_out="$out" --benchmark_out_format=json >/dev/null
/usr/bin/python3 - "$out" <<'PY'
import json, statistics, sys

runs = {}
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    if b.get("run_type") != "iteration":
        continue
    name = b["run_name"].split("/")[0]
    runs.setdefault(name, []).append((3600 / b["x_realtime"], 3600 / b["x_cpu"]))

def spread(values):
    return f"{statistics.median(values):.1f} s ({min(values):.1f}-{max(values):.1f})"

labels = {"BM_Mp3Sink": "MP3 sink, CBR 192 kbps, -q 2", "BM_LameCli": "`lame -b 192 -q 2 -m s`",
          "BM_FlacSink": "FLAC sink, 16 bits, level 5", "BM_FlacCli": "`flac -5`",
          "BM_AiffSink16": "AIFF sink, 16-bit"}
print("| encoder | one hour by wall clock | one hour of CPU | repetitions |")
print("|---|---|---|---|")
for name, label in labels.items():
    if name in runs:
        r = runs[name]
        print(f"| {label} | {spread([x[0] for x in r])} | {spread([x[1] for x in r])} | {len(r)} |")
for sink, cli in (("BM_Mp3Sink", "BM_LameCli"), ("BM_FlacSink", "BM_FlacCli")):
    if sink in runs and cli in runs:
        wall = statistics.median(x[0] for x in runs[cli]) / statistics.median(x[0] for x in runs[sink])
        cpu = statistics.median(x[1] for x in runs[cli]) / statistics.median(x[1] for x in runs[sink])
        print(f"\n{labels[sink]}: {wall:.2f}x the command-line encoder's speed by wall time, "
              f"{cpu:.2f}x by CPU time (ratio of the medians)")
PY
