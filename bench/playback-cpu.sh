#!/bin/sh
# The player's CPU time against paplay's, on the same files and the same private
# PulseAudio daemon (a 44.1 kHz stereo null sink, kept running by a silent
# low-latency stream as a sound card would be), one after the other:
#   a WAV (44.1 kHz stereo 16-bit) and an MP3 (128 kbps) of SECONDS (default 60).
# CPU time (user + system, from /usr/bin/time) is scaled to one hour of sound.
#   bench/playback-cpu.sh BUILD_FOLDER [SECONDS]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [SECONDS]}" && pwd)
seconds=${2:-60}
prog=$build/bench/bench_audio_playback
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_audio_playback" >&2; exit 1; }
for tool in pulseaudio pactl paplay pacat lame sox /usr/bin/time; do
    command -v "$tool" >/dev/null || {
        echo "$tool is missing (Debian: pulseaudio pulseaudio-utils lame sox time)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-playback-bench.XXXXXX")
daemon=""
keeper=""
cleanup() {
    [ -n "$keeper" ] && kill "$keeper" 2>/dev/null || true
    [ -n "$daemon" ] && kill "$daemon" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT INT TERM
. "$(dirname "$0")/lib/private-pulse.sh"
start_private_pulse
pactl load-module module-null-sink sink_name=nul rate=44100 channels=2 >/dev/null
pactl set-default-sink nul
pacat --latency-msec=10 --rate=44100 --channels=2 /dev/zero &
keeper=$!
sleep 2.5

cd "$work"
sox -n -r 44100 -c 2 -b 16 music.wav synth "$seconds" sine 440 sine 660 gain -6
lame --silent -b 128 music.wav music.mp3

hour() {  # user and system seconds in file $1 -> CPU seconds per hour of sound
    awk -v s="$seconds" '{ printf "%.1f", ($1 + $2) * 3600 / s }' "$1"
}
for f in music.wav music.mp3; do
    /usr/bin/time -f "%U %S" -o t.vocarta "$prog" --play "$f"
    /usr/bin/time -f "%U %S" -o t.paplay paplay "$f"
    echo "$f ($seconds s): Vocarta $(hour t.vocarta) s CPU/hour, paplay $(hour t.paplay) s CPU/hour"
done
