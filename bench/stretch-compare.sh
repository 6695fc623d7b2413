#!/bin/sh
# Playing at another speed: SoundTouch against Rubber Band (faster and finer
# engines) on the same 22.05 kHz voice-like sound, then the player's own path
# (44.1 kHz -> 22.05 kHz -> SoundTouch). CPU time is scaled to one hour of the
# recording; a 440 Hz tone gives the pitch kept and the residual after the
# tone (lower is cleaner). SECONDS (default 600) is the length costed.
#   bench/stretch-compare.sh BUILD_FOLDER [SECONDS]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [SECONDS]}" && pwd)
prog=$build/bench/bench_audio_stretch
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_audio_stretch" >&2; exit 1; }
VOCARTA_STRETCH_SECONDS=${2:-600} exec "$prog" --benchmark_counters_tabular=true
