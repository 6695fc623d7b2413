#!/bin/sh
# Trimming long 44.1 kHz stereo 16-bit WAV recordings: Vocarta's after-recording
# trim (bench_audio_trim --trim-file) against SoX's `silence` effect on the same
# file, RUNS interleaved rounds (default 5; the order alternates each round) for
# each length in HOURS (default "1 4"). Prints wall time, CPU time (user +
# system) and peak memory of each (/usr/bin/time -v): the median of the rounds
# and their range, and SoX's wall time over Vocarta's round by round.
#   bench/trim-wav-hour.sh BUILD_FOLDER [HOURS [RUNS]]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [HOURS [RUNS]]}" && pwd)
hours=${2:-1 4}
runs=${3:-5}
prog=$build/bench/bench_audio_trim
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_audio_trim" >&2; exit 1; }
for tool in sox soxi /usr/bin/time /usr/bin/python3; do
    command -v "$tool" >/dev/null || { echo "$tool is missing (Debian: sox, time)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-trim-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
# The trim reads its options from the settings store: give it an empty one.
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_DATA_HOME="$work/home/.data" \
    XDG_CACHE_HOME="$work/home/.cache"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"

# A 10 s stretch of speech-like audio (tone sweeps) and pauses of 0.15, 1.2 and
# 2.5 s over a noise floor at -60 dBFS, repeated to the length wanted.
cd "$work"
gen() { sox -n -r 44100 -c 2 -b 16 "$@"; }
gen s1.wav synth 2.4 sine 180-700 vol 0.5
gen s2.wav synth 1.6 sine 400-240 vol 0.4
gen s3.wav synth 2.15 sine 260-900 vol 0.6
gen p1.wav synth 0.15 whitenoise vol 0.001
gen p2.wav synth 1.2 whitenoise vol 0.001
gen p3.wav synth 2.5 whitenoise vol 0.001
sox s1.wav p1.wav s2.wav p2.wav s3.wav p3.wav pattern.wav

# The after-recording threshold is VoiceActivateLevel (-18) - 1 = -19 on the
# level scale, an amplitude of 0.0282 = -31 dBFS; SoX gets the same threshold.
# Its -l keeps 0.4 s of each pause of 0.4 s or more, close to what Vocarta keeps.
# Both start from the page cache with nothing left to write back (the copy
# Vocarta trims in place is made first, outside the time). Vocarta's time
# includes its fsync; SoX leaves its output to the page cache.
vocarta() {  # TIME_FILE INPUT
    cp "$2" v.wav && sync && cat v.wav >/dev/null
    /usr/bin/time -v -o "$1" "$prog" --trim-file v.wav >/dev/null
}
soxrun() {  # TIME_FILE INPUT
    rm -f s.wav && sync && cat "$2" >/dev/null
    /usr/bin/time -v -o "$1" sox "$2" s.wav silence -l 1 0.1 -31d -1 0.4 -31d
}
for h in $hours; do
    sox pattern.wav "in$h.wav" repeat $((h * 360 - 1))
    echo "input $h h: $(soxi -D "in$h.wav") s, $(stat -c %s "in$h.wav") bytes"
    r=1
    while [ $r -le "$runs" ]; do
        if [ $((r % 2)) -eq 1 ]; then
            vocarta "t.$h.vocarta.$r" "in$h.wav"
            soxrun "t.$h.sox.$r" "in$h.wav"
        else
            soxrun "t.$h.sox.$r" "in$h.wav"
            vocarta "t.$h.vocarta.$r" "in$h.wav"
        fi
        r=$((r + 1))
    done
    echo "output $h h: Vocarta $(soxi -D v.wav) s, SoX $(soxi -D s.wav) s"
    rm -f "in$h.wav" v.wav s.wav
done

/usr/bin/python3 - "$hours" "$runs" <<'PY'
import statistics, sys

def seconds(text):
    s = 0.0
    for part in text.split(":"):
        s = s * 60 + float(part)
    return s

def read(path):
    fields = {}
    with open(path) as f:
        for line in f:
            key, _, value = line.strip().rpartition(": ")
            fields[key] = value
    wall = seconds(fields["Elapsed (wall clock) time (h:mm:ss or m:ss)"])
    cpu = float(fields["User time (seconds)"]) + float(fields["System time (seconds)"])
    return wall, cpu, int(fields["Maximum resident set size (kbytes)"]) / 1024

def spread(values, unit=" s", digits=2):
    return (f"{statistics.median(values):.{digits}f}{unit} "
            f"({min(values):.{digits}f}-{max(values):.{digits}f})")

hours, runs = sys.argv[1].split(), int(sys.argv[2])
print(f"{runs} interleaved rounds; median (range)")
print("| length | program | wall | CPU (user+sys) | peak RSS |")
print("|---|---|---|---|---|")
for h in hours:
    data = {p: [read(f"t.{h}.{p}.{r}") for r in range(1, runs + 1)] for p in ("vocarta", "sox")}
    for p, name in (("vocarta", "Vocarta"), ("sox", "SoX 14.4")):
        d = data[p]
        print(f"| {h} h | {name} | {spread([x[0] for x in d])} | {spread([x[1] for x in d])} | "
              f"{max(x[2] for x in d):.0f} MB |")
    ratios = [s[0] / v[0] for s, v in zip(data["sox"], data["vocarta"])]
    cpu = [s[1] / v[1] for s, v in zip(data["sox"], data["vocarta"])]
    print(f"| {h} h | SoX / Vocarta, round by round | {spread(ratios, 'x')} | "
          f"{spread(cpu, 'x')} | |")
PY
