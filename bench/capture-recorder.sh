#!/bin/sh
# The recorder's CPU time against parecord's, on the same PulseAudio source in the
# same run: a private daemon with a 48 kHz stereo null sink, a two-tone file
# played into it in a loop, and six recorders reading its monitor one after the
# other, each for SECONDS (default 120):
#   Vocarta to WAV (16-bit)      bench_audio_capture --record
#   Vocarta to MP3 (192 kbps)    bench_audio_capture --record
#   Vocarta into no sink         bench_audio_capture --record (frames dropped)
#   parecord to WAV (16-bit), with the server's hand-overs and with 200 ms ones
#   parecord | lame (192 kbps, -h, as the MP3 sink's default quality)
# CPU time (user + system, from /usr/bin/time) is scaled to one hour of sound.
# Vocarta's WAV figure is then split by thread (the server connection's main
# loop "threaded-ml", the worker "LSoundRecorder<", the polling thread), with
# each thread's wake-ups per second.
#   bench/capture-recorder.sh BUILD_FOLDER [SECONDS]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [SECONDS]}" && pwd)
seconds=${2:-120}
prog=$build/bench/bench_audio_capture
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_audio_capture" >&2; exit 1; }
for tool in pulseaudio pactl paplay parecord lame sox soxi /usr/bin/time; do
    command -v "$tool" >/dev/null || {
        echo "$tool is missing (Debian: pulseaudio pulseaudio-utils lame sox time)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-capture-bench.XXXXXX")
daemon=""
player=""
cleanup() {
    [ -n "$player" ] && kill "$player" 2>/dev/null || true
    [ -n "$daemon" ] && kill "$daemon" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM
. "$(dirname "$0")/lib/private-pulse.sh"
start_private_pulse
pactl load-module module-null-sink sink_name=nul rate=48000 channels=2 >/dev/null

sox -n -r 48000 -c 2 -b 16 "$work/tone.wav" synth 10 sine 440 sine 660 gain -6
( while :; do paplay --device=nul "$work/tone.wav" || exit 0; done ) &
player=$!
sleep 1

cd "$work"
# One recorder at a time: run side by side they slow each other down (two cores,
# LAME busy), which flatters whichever one is cheaper.
/usr/bin/time -f "%U %S %w" -o t.vwav "$prog" --record "$seconds" wav v.wav nul.monitor >threads.vwav
/usr/bin/time -f "%U %S %w" -o t.vmp3 "$prog" --record "$seconds" mp3 v.mp3 nul.monitor >/dev/null
/usr/bin/time -f "%U %S %w" -o t.vdrop "$prog" --record "$seconds" drop - nul.monitor >/dev/null
/usr/bin/time -f "%U %S %w" -o t.pwav timeout -s INT "$seconds" parecord --device=nul.monitor \
    --rate=48000 --channels=2 --format=s16le --file-format=wav p.wav || true
# parecord asked for the 200 ms hand-overs that Vocarta needs for its levels.
/usr/bin/time -f "%U %S %w" -o t.pwav200 timeout -s INT "$seconds" parecord --device=nul.monitor \
    --rate=48000 --channels=2 --format=s16le --file-format=wav --latency-msec=200 p200.wav || true
/usr/bin/time -f "%U %S %w" -o t.pmp3 sh -c 'timeout -s INT "$1" parecord --device=nul.monitor \
    --rate=48000 --channels=2 --format=s16le --raw | lame --silent -r -s 48 --bitwidth 16 \
    --signed --little-endian -m j -b 192 -h - p.mp3 2>/dev/null' sh "$seconds" || true

# The last line: timeout's exit status may come first.
perhour() { tail -n 1 "$1" | awk -v s="$seconds" '{ printf "%.1f", ($1 + $2) * 3600 / s }'; }
vwav=$(perhour t.vwav); vmp3=$(perhour t.vmp3); vdrop=$(perhour t.vdrop)
pwav=$(perhour t.pwav); pmp3=$(perhour t.pmp3)
echo "recorded $seconds s of 48 kHz stereo from a null sink's monitor, CPU seconds per hour:"
echo "| | to WAV | to MP3 (192 kbps) | recorded |"
echo "|---|---|---|---|"
echo "| Vocarta | $vwav s | $vmp3 s | $(soxi -D v.wav) s, $(soxi -D v.mp3) s |"
echo "| parecord (\`\| lame\`) | $pwav s | $pmp3 s | $(soxi -D p.wav) s, $(soxi -D p.mp3) s |"
awk -v a="$vwav" -v b="$pwav" -v c="$vmp3" -v d="$pmp3" 'BEGIN {
    printf "Vocarta / parecord: WAV %.2f×, MP3 %.2f×\n", a / b, c / d }'
echo "Vocarta with every frame dropped instead of written: $vdrop s"
pwav200=$(perhour t.pwav200)
awk -v a="$vwav" -v b="$pwav200" 'BEGIN {
    printf "parecord with 200 ms hand-overs, to WAV: %.1f s (Vocarta / that: %.2f×)\n", b, a / b }'
wakeups() { tail -n 1 "$1" | awk -v s="$seconds" '{ printf "%.1f", $3 / s }'; }
echo "Wake-ups per second (voluntary context switches), to WAV: Vocarta $(wakeups t.vwav)," \
    "parecord $(wakeups t.pwav), parecord with 200 ms hand-overs $(wakeups t.pwav200)"
echo "Vocarta to WAV by thread (scheduler statistics, start-up included):"
echo "| thread | CPU seconds per hour | wake-ups per second |"
echo "|---|---|---|"
awk -v s="$seconds" '$1 == "thread" {
    printf "| %s | %.2f s | %.1f |\n", $2, $3 / 1000 * 3600 / s, $4 / s }' threads.vwav
