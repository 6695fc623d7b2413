#!/bin/sh
# The recorder's CPU time and wake-ups against parecord's, on the same sources of
# a private PulseAudio daemon, 44.1 kHz stereo 16-bit WAV:
#   sine     module-sine-source (440 Hz), which renders about 2 s at a time
#   mic      the clock-paced test microphone (realtime-mic.py into a pipe
#            source), which delivers every 10 ms as a sound card does
#   monitor  the monitor of a null sink into which a two-tone file plays in a
#            loop (paplay at its default latency)
# Recorders, one after the other (side by side they would slow each other down
# on two cores), in RUNS interleaved rounds:
#   Vocarta with levels shown  bench_audio_capture --record (200 ms hand-overs)
#   Vocarta without levels     bench_audio_capture --record --quiet (1 s)
#   parecord                   the server's default hand-over size
#   parecord 200 ms            --latency-msec=200
# and on the sine source also to MP3 (192 kbps CBR, the sink's default quality)
# against `parecord | lame -b 192 -h`.
# Each recorder runs, settles 5 s, and is measured over a window of WINDOW
# seconds (default 40) from the kernel's per-thread scheduler statistics (CPU
# time in nanoseconds, voluntary context switches), so start-up and shutdown
# are left out. Figures are CPU seconds per hour of sound: the median of the
# rounds and their range.
#   bench/capture-recorder.sh BUILD_FOLDER [WINDOW [RUNS]]
# SOURCES (default "sine mic monitor") chooses the sources; VOCARTA_TEST_MIC
# names realtime-mic.py (default: ../shared/tools/ beside the source tree).
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [WINDOW [RUNS]]}" && pwd)
window=${2:-40}
runs=${3:-5}
sources=${SOURCES:-sine mic monitor}
here=$(cd "$(dirname "$0")" && pwd)
lib=$here/lib
mic=${VOCARTA_TEST_MIC:-$here/../../shared/tools/realtime-mic.py}
prog=$build/bench/bench_audio_capture
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_audio_capture" >&2; exit 1; }
for tool in pulseaudio pactl paplay parecord lame sox /usr/bin/python3; do
    command -v "$tool" >/dev/null || {
        echo "$tool is missing (Debian: pulseaudio pulseaudio-utils lame sox python3)" >&2; exit 1; }
done
case " $sources " in *" mic "*)
    [ -r "$mic" ] || { echo "the test microphone $mic is missing: set VOCARTA_TEST_MIC" >&2; exit 1; }
esac

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-capture-bench.XXXXXX")
daemon=""
feeders=""
cleanup() {
    for p in $feeders; do kill "$p" 2>/dev/null || true; done
    [ -n "$daemon" ] && kill "$daemon" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM
. "$lib/private-pulse.sh"
start_private_pulse
cd "$work"
pactl load-module module-sine-source source_name=sine rate=44100 frequency=440 >/dev/null
pactl load-module module-pipe-source source_name=mic file="$work/mic.fifo" format=s16le \
    rate=44100 channels=2 >/dev/null
/usr/bin/python3 "$mic" "$work/mic.fifo" &
feeders="$feeders $!"
pactl load-module module-null-sink sink_name=nul rate=44100 channels=2 >/dev/null
sox -n -r 44100 -c 2 -b 16 tone.wav synth 10 sine 440 sine 660 gain -6
( while :; do paplay --device=nul tone.wav 2>/dev/null || exit 0; done ) &
feeders="$feeders $!"
sleep 1

device() { [ "$1" = monitor ] && echo nul.monitor || echo "$1"; }
measure() {  # OUTPUT COMMAND...
    out=$1
    shift
    /usr/bin/python3 "$lib/cpu-window.py" --settle 5 --window "$window" "$out" -- "$@" \
        >/dev/null 2>"$out.err" || { echo "failed: $*" >&2; cat "$out.err" >&2; exit 1; }
}
round() {
    r=$1
    for s in $sources; do
        d=$(device "$s")
        measure "c.$s.vlevels.$r" "$prog" --record wav v.wav "$d" --rate 44100
        measure "c.$s.vquiet.$r" "$prog" --record wav v.wav "$d" --rate 44100 --quiet
        measure "c.$s.parec.$r" parecord --device="$d" --rate=44100 --channels=2 \
            --format=s16le --file-format=wav p.wav
        measure "c.$s.parec200.$r" parecord --device="$d" --rate=44100 --channels=2 \
            --format=s16le --file-format=wav --latency-msec=200 p.wav
        if [ "$s" = sine ]; then
            measure "c.$s.vmp3.$r" "$prog" --record mp3 v.mp3 "$d" --rate 44100
            measure "c.$s.pmp3.$r" sh -c 'parecord --device="$1" --rate=44100 --channels=2 \
                --format=s16le --raw | lame --silent -r -s 44.1 --bitwidth 16 --signed \
                --little-endian -m j -b 192 -h - p.mp3' sh "$d"
        fi
    done
}
r=1
while [ $r -le "$runs" ]; do
    round "$r"
    r=$((r + 1))
done

echo "$runs interleaved rounds, each recorder measured over $window s once running;"
echo "44.1 kHz stereo, 16-bit WAV unless noted."
for s in $sources; do
    echo
    echo "### Source: $s ($(device "$s"))"
    echo
    set -- "Vocarta, levels shown=vlevels" "Vocarta, no levels=vquiet" "parecord=parec" \
        "parecord --latency-msec=200=parec200" --ratio vlevels/parec200 --ratio vquiet/parec \
        --threads vlevels --threads vquiet
    [ "$s" = sine ] && set -- "$@" "Vocarta to MP3=vmp3" "\`parecord | lame\`=pmp3" --ratio vmp3/pmp3
    /usr/bin/python3 "$lib/summarise-runs.py" . "$s" "$@"
done
