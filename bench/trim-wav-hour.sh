#!/bin/sh
# Trimming one hour of 44.1 kHz stereo 16-bit WAV: Vocarta's after-recording
# trim (bench_audio_trim --trim-file) against SoX's `silence` effect on the same
# file, in the same run. Prints wall time, CPU time and peak memory of each
# (from /usr/bin/time -v), best of two runs each.
#   bench/trim-wav-hour.sh BUILD_FOLDER
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER}" && pwd)
prog=$build/bench/bench_audio_trim
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_audio_trim" >&2; exit 1; }
for tool in sox soxi /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "$tool is missing (Debian: sox, time)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-trim-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
# The trim reads its options from the settings store: give it an empty one.
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_DATA_HOME="$work/home/.data" \
    XDG_CACHE_HOME="$work/home/.cache"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"

# A 10 s stretch of speech-like audio (tone sweeps) and pauses of 0.15, 1.2 and
# 2.5 s over a noise floor at -60 dBFS, repeated to one hour.
cd "$work"
gen() { sox -n -r 44100 -c 2 -b 16 "$@"; }
gen s1.wav synth 2.4 sine 180-700 vol 0.5
gen s2.wav synth 1.6 sine 400-240 vol 0.4
gen s3.wav synth 2.15 sine 260-900 vol 0.6
gen p1.wav synth 0.15 whitenoise vol 0.001
gen p2.wav synth 1.2 whitenoise vol 0.001
gen p3.wav synth 2.5 whitenoise vol 0.001
sox s1.wav p1.wav s2.wav p2.wav s3.wav p3.wav pattern.wav
sox pattern.wav hour.wav repeat 359
echo "input: $(soxi -D hour.wav) s, $(soxi -r hour.wav) Hz, $(soxi -c hour.wav) channels," \
    "$(soxi -b hour.wav) bit, $(stat -c %s hour.wav) bytes"

# The after-recording threshold is VoiceActivateLevel (-18) - 1 = -19 on the
# level scale, an amplitude of 0.0282 = -31 dBFS; SoX gets the same threshold.
# Its -l keeps 0.4 s of each pause of 0.4 s or more, close to what Vocarta keeps.
vocarta() { cp hour.wav v.wav && /usr/bin/time -v -o "$1" "$prog" --trim-file v.wav >/dev/null; }
soxrun() {
    /usr/bin/time -v -o "$1" sox hour.wav s.wav silence -l 1 0.1 -31d -1 0.4 -31d
}
field() { sed -n "s/^[[:space:]]*$2: //p" "$1"; }
seconds() {  # h:mm:ss.ss or m:ss.ss
    echo "$1" | awk -F: '{ s = 0; for (i = 1; i <= NF; i++) s = s * 60 + $i; printf "%.2f", s }'
}
best() {  # name runner: best wall time of two runs, with its CPU and memory
    bestWall=""
    for run in 1 2; do
        cat hour.wav >/dev/null  # both start from the page cache
        "$2" "$work/$1.$run.time"
        wall=$(seconds "$(field "$work/$1.$run.time" 'Elapsed (wall clock) time (h:mm:ss or m:ss)')")
        if [ -z "$bestWall" ] || awk "BEGIN { exit !($wall < $bestWall) }"; then
            bestWall=$wall
            bestCpu=$(awk "BEGIN { printf \"%.2f\", $(field "$work/$1.$run.time" 'User time (seconds)') + $(field "$work/$1.$run.time" 'System time (seconds)') }")
            bestRss=$(field "$work/$1.$run.time" 'Maximum resident set size (kbytes)')
        fi
    done
    eval "${1}Wall=$bestWall ${1}Cpu=$bestCpu ${1}Rss=$bestRss"
}
best vocarta vocarta
best sox soxrun

echo "vocarta: wall ${vocartaWall} s, cpu ${vocartaCpu} s, peak RSS $((vocartaRss / 1024)) MB," \
    "output $(soxi -D v.wav) s"
echo "sox:     wall ${soxWall} s, cpu ${soxCpu} s, peak RSS $((soxRss / 1024)) MB," \
    "output $(soxi -D s.wav) s"
awk "BEGIN { printf \"speed: vocarta is %.1fx faster than sox (target 2x); peak memory %d MB (target < 64)\n\", $soxWall / $vocartaWall, $vocartaRss / 1024 }"
