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
# Each runs once for 10 s and once for SECONDS; the difference in CPU time (user
# + system of the process and its children, microseconds) is scaled to one hour
# of sound, so that start-up and shutdown are left out. Vocarta's WAV figure is
# then split by thread (the server connection's main loop "threaded-ml", the
# worker "LSoundRecorder<", the polling thread), with each thread's wake-ups per
# second.
#   bench/capture-recorder.sh BUILD_FOLDER [SECONDS]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [SECONDS]}" && pwd)
seconds=${2:-120}
prog=$build/bench/bench_audio_capture
lib=$(cd "$(dirname "$0")/lib" && pwd)
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_audio_capture" >&2; exit 1; }
for tool in pulseaudio pactl paplay parecord lame sox soxi timeout /usr/bin/python3; do
    command -v "$tool" >/dev/null || {
        echo "$tool is missing (Debian: pulseaudio pulseaudio-utils lame sox python3)" >&2; exit 1; }
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
. "$lib/private-pulse.sh"
start_private_pulse
pactl load-module module-null-sink sink_name=nul rate=48000 channels=2 >/dev/null

sox -n -r 48000 -c 2 -b 16 "$work/tone.wav" synth 10 sine 440 sine 660 gain -6
( while :; do paplay --device=nul "$work/tone.wav" 2>/dev/null || exit 0; done ) &
player=$!
sleep 1

cd "$work"
# Each recorder runs twice, for SHORT and for SECONDS seconds; the difference is
# what recording costs once running, free of start-up and shutdown (loading
# libraries, connecting, closing the file), which an hour-long recording pays once.
short=10
[ "$seconds" -gt $((short + 10)) ] || { echo "SECONDS must be more than $((short + 10))" >&2; exit 1; }
# CPU time with microsecond resolution: /usr/bin/time's hundredths of a second
# are about all that parecord takes in two minutes.
measure() {
    out=$1
    shift
    /usr/bin/python3 "$lib/cpu-time.py" "$out" "$@"
}
# One recorder at a time: run side by side they slow each other down (two cores,
# LAME busy), which flatters whichever one is cheaper.
record_all() {
    s=$1
    measure c.vwav.$s "$prog" --record "$s" wav v.wav nul.monitor >threads.$s
    measure c.vmp3.$s "$prog" --record "$s" mp3 v.mp3 nul.monitor >/dev/null
    measure c.vdrop.$s "$prog" --record "$s" drop - nul.monitor >/dev/null
    measure c.pwav.$s timeout -s INT "$s" parecord --device=nul.monitor \
        --rate=48000 --channels=2 --format=s16le --file-format=wav p.wav
    # parecord asked for the 200 ms hand-overs that Vocarta needs for its levels.
    measure c.pwav200.$s timeout -s INT "$s" parecord --device=nul.monitor \
        --rate=48000 --channels=2 --format=s16le --file-format=wav --latency-msec=200 p200.wav
    measure c.pmp3.$s sh -c 'timeout -s INT "$1" parecord --device=nul.monitor \
        --rate=48000 --channels=2 --format=s16le --raw | lame --silent -r -s 48 --bitwidth 16 \
        --signed --little-endian -m j -b 192 -h - p.mp3 2>/dev/null' sh "$s"
}
record_all $short
record_all "$seconds"

# CPU seconds per hour of sound, and wake-ups per second, once running.
perhour() { paste "c.$1.$short" "c.$1.$seconds" | awk -v a=$short -v b="$seconds" '{
    printf "%.2f", ($3 - $1) * 3600 / (b - a) }'; }
wakeups() { paste "c.$1.$short" "c.$1.$seconds" | awk -v a=$short -v b="$seconds" '{
    printf "%.1f", ($4 - $2) / (b - a) }'; }
startup() { paste "c.$1.$short" "c.$1.$seconds" | awk -v a=$short -v b="$seconds" '{
    printf "%.0f ms", ($1 - ($3 - $1) * a / (b - a)) * 1000 }'; }
vwav=$(perhour vwav); vmp3=$(perhour vmp3); vdrop=$(perhour vdrop)
pwav=$(perhour pwav); pmp3=$(perhour pmp3); pwav200=$(perhour pwav200)
echo "recorded $seconds s (less a $short s run) of 48 kHz stereo from a null sink's monitor,"
echo "CPU seconds per hour of sound once running:"
echo "| | to WAV | to MP3 (192 kbps) | wake-ups per second (WAV) | start and stop (WAV) | recorded |"
echo "|---|---|---|---|---|---|"
echo "| Vocarta | $vwav s | $vmp3 s | $(wakeups vwav) | $(startup vwav) |" \
    "$(soxi -D v.wav) s, $(soxi -D v.mp3) s |"
echo "| Vocarta, frames dropped | $vdrop s | | $(wakeups vdrop) | $(startup vdrop) | |"
echo "| parecord (\`\\| lame\`) | $pwav s | $pmp3 s | $(wakeups pwav) | $(startup pwav) |" \
    "$(soxi -D p.wav) s, $(soxi -D p.mp3) s |"
echo "| parecord --latency-msec=200 | $pwav200 s | | $(wakeups pwav200) | $(startup pwav200) |" \
    "$(soxi -D p200.wav) s |"
awk -v a="$vwav" -v b="$pwav" -v c="$vmp3" -v d="$pmp3" -v e="$pwav200" 'BEGIN {
    printf "Vocarta / parecord: WAV %.2f×, MP3 %.2f×; WAV against parecord with 200 ms hand-overs %.2f×\n",
        a / b, c / d, a / e }'
echo "Vocarta to WAV by thread, once running (scheduler statistics):"
echo "| thread | CPU seconds per hour | wake-ups per second |"
echo "|---|---|---|"
awk -v a=$short -v b="$seconds" '$1 != "thread" { next }
    FILENAME == ARGV[1] { cpu[$2] = $3; woke[$2] = $4; next }
    { printf "| %s | %.2f s | %.1f |\n", $2, ($3 - cpu[$2]) / 1000 * 3600 / (b - a),
          ($4 - woke[$2]) / (b - a) }' threads.$short "threads.$seconds"
