#!/bin/sh
# CPU time and memory of the running program (headless, as a scheduled or
# server recording runs it): idle, then recording SECONDS (default 60) to WAV
# (44.1 kHz stereo 16-bit) and to MP3 (128 kbps), from the monitor of a private
# PulseAudio daemon's null sink into which a 440 Hz tone plays. CPU is the
# program's user + system time (/proc/PID/stat) over each stretch, as a share of
# one core; memory is its resident set (VmRSS) at the end of each stretch and
# its peak (VmHWM).
#   bench/session-cpu.sh BUILD_FOLDER [SECONDS]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [SECONDS]}" && pwd)
seconds=${2:-60}
prog=$build/vocarta
defaults=$build/vocarta-defaults
for p in "$prog" "$defaults"; do
    [ -x "$p" ] || { echo "$p is missing: build the targets vocarta and vocarta-defaults" >&2; exit 1; }
done
for tool in pulseaudio pactl paplay sox getconf; do
    command -v "$tool" >/dev/null || {
        echo "$tool is missing (Debian: pulseaudio pulseaudio-utils sox)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-session-bench.XXXXXX")
daemon=""
player=""
copy=""
cleanup() {
    [ -n "$copy" ] && kill "$copy" 2>/dev/null || true
    [ -n "$player" ] && kill "$player" 2>/dev/null || true
    [ -n "$daemon" ] && kill "$daemon" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT INT TERM
export VOCARTA_SHARED_DIR="$work/shared"
unset DISPLAY WAYLAND_DISPLAY
. "$(dirname "$0")/lib/private-pulse.sh"
start_private_pulse
pactl load-module module-null-sink sink_name=nul rate=44100 channels=2 >/dev/null
total=$((seconds * 3 + 60))
sox -n -t raw -r 44100 -c 2 -b 16 -e signed - synth "$total" sine 440 vol 0.5 |
    paplay --raw --latency-msec=40 --rate=44100 --channels=2 --format=s16le --device=nul &
player=$!

"$defaults" write FindPlay/DefaultRecordFolder "$work/rec" >/dev/null
"$defaults" write Settings/RecordDevice nul.monitor >/dev/null
"$defaults" write Settings/RecordTone 0 >/dev/null
"$defaults" write Settings/StoppedTone 0 >/dev/null
mkdir -p "$work/rec"

"$prog" -nogui >"$work/out.txt" 2>"$work/err.txt" &
copy=$!
tries=0
until [ -S "$XDG_CACHE_HOME/.spipe.Vocarta" ]; do
    tries=$((tries + 1))
    [ $tries -gt 200 ] && { echo "vocarta did not start; see $work/err.txt" >&2; exit 1; }
    sleep 0.05
done
sleep 2

ticks=$(getconf CLK_TCK)
cpu_ticks() { awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$copy/stat"; }
kib() { awk -v k="$1:" '$1 == k { print $2 }' "/proc/$copy/status"; }
measure() {  # label: CPU share of one core over `seconds`, RSS at the end
    before=$(cpu_ticks)
    sleep "$seconds"
    after=$(cpu_ticks)
    awk -v l="$1" -v d=$((after - before)) -v t="$ticks" -v s="$seconds" -v r="$(kib VmRSS)" \
        'BEGIN { printf "%-28s CPU %5.2f %% of one core (%.2f s in %d s), RSS %.1f MiB\n",
                 l, 100 * d / t / s, d / t, s, r / 1024 }'
}

measure "idle"
"$prog" -record wav -s 44100 -m 2 -b 16
measure "recording WAV 16-bit"
"$prog" -stop
sleep 1
"$prog" -record mp3 -cbr -b 128
measure "recording MP3 128 kbps"
"$prog" -stop
sleep 1
echo "peak RSS $(kib VmHWM | awk '{ printf "%.1f", $1 / 1024 }') MiB"
ls "$work/rec" | grep -q "Untitled 001.mp3" || {
    echo "the recordings were not made; see $work/err.txt" >&2; cat "$work/err.txt" >&2; exit 1; }
"$prog" -exit
wait "$copy" 2>/dev/null || true
copy=""
