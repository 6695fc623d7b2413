#!/bin/sh
# CPU time, wake-ups and memory of the running program, idle and recording
# 44.1 kHz stereo 16-bit WAV, in RUNS interleaved rounds (default 5), from the
# sources of a private PulseAudio daemon:
#   sine     module-sine-source (440 Hz), which renders about 2 s at a time
#   mic      the clock-paced test microphone (realtime-mic.py into a pipe
#            source), which delivers every 10 ms as a sound card does
#   monitor  the monitor of a null sink into which a 440 Hz tone plays with
#            40 ms latency
#   coarse   a clock-paced source like mic that delivers 200 ms at a time
#            (lib/coarse-mic.py): beside mic it shows what follows the
#            device's delivery size
# and in the modes:
#   headless  -nogui with standard output not a terminal, as a scheduled or
#             server recording runs it
#   windowed  the window shown on a private Xvfb display (its CPU counted apart)
# Each stretch is measured over WINDOW seconds (default 40) after 5 s of
# settling, from the kernel's per-thread scheduler statistics; the resident
# set is read at the end. Figures: CPU seconds per hour (median and range of
# the rounds), wake-ups per second, the share of one core.
#   bench/session-cpu.sh BUILD_FOLDER [WINDOW [RUNS]]
# SOURCES (default "sine mic monitor") and MODES (default "headless") choose;
# VOCARTA_TEST_MIC names realtime-mic.py (default: ../shared/tools/ beside the
# source tree).
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [WINDOW [RUNS]]}" && pwd)
window=${2:-40}
runs=${3:-5}
sources=${SOURCES:-sine mic monitor}
modes=${MODES:-headless}
here=$(cd "$(dirname "$0")" && pwd)
lib=$here/lib
mic=${VOCARTA_TEST_MIC:-$here/../../shared/tools/realtime-mic.py}
prog=$build/vocarta
defaults=$build/vocarta-defaults
for p in "$prog" "$defaults"; do
    [ -x "$p" ] || { echo "$p is missing: build the targets vocarta and vocarta-defaults" >&2; exit 1; }
done
for tool in pulseaudio pactl paplay sox /usr/bin/python3; do
    command -v "$tool" >/dev/null || {
        echo "$tool is missing (Debian: pulseaudio pulseaudio-utils sox python3)" >&2; exit 1; }
done
case " $modes " in *" windowed "*)
    command -v Xvfb >/dev/null || { echo "Xvfb is missing (Debian: xvfb)" >&2; exit 1; }
esac
case " $sources " in *" mic "*)
    [ -r "$mic" ] || { echo "the test microphone $mic is missing: set VOCARTA_TEST_MIC" >&2; exit 1; }
esac

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-session-bench.XXXXXX")
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
export VOCARTA_SHARED_DIR="$work/shared"
unset DISPLAY WAYLAND_DISPLAY
. "$lib/private-pulse.sh"
start_private_pulse
cd "$work"
pactl load-module module-sine-source source_name=sine rate=44100 frequency=440 >/dev/null
pactl load-module module-pipe-source source_name=mic file="$work/mic.fifo" format=s16le \
    rate=44100 channels=2 >/dev/null
/usr/bin/python3 "$mic" "$work/mic.fifo" &
feeders="$feeders $!"
case " $sources " in *" coarse "*)
    pactl load-module module-pipe-source source_name=coarse file="$work/coarse.fifo" \
        format=s16le rate=44100 channels=2 >/dev/null
    /usr/bin/python3 "$lib/coarse-mic.py" "$work/coarse.fifo" 200 &
    feeders="$feeders $!"
esac
pactl load-module module-null-sink sink_name=nul rate=44100 channels=2 >/dev/null
sox -n -r 44100 -c 2 -b 16 tone.wav synth 20 sine 440 vol 0.5
( while :; do paplay --latency-msec=40 --device=nul tone.wav 2>/dev/null || exit 0; done ) &
feeders="$feeders $!"

"$defaults" write FindPlay/DefaultRecordFolder "$work/rec" >/dev/null
"$defaults" write Settings/RecordTone 0 >/dev/null
"$defaults" write Settings/StoppedTone 0 >/dev/null
mkdir -p "$work/rec"
socket="$XDG_CACHE_HOME/.spipe.Vocarta"
# Started by cpu-window.py: the program (and in windowed mode its own X server,
# so that the server's share is counted too), in the foreground of a shell.
cat >launch.sh <<EOF
#!/bin/sh
if [ "\$1" = windowed ]; then
    # Xvfb picks a free display and names it once it accepts connections.
    rm -f "$work/display"
    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
    tries=0
    until [ -s "$work/display" ] || [ \$tries -gt 200 ]; do tries=\$((tries + 1)); sleep 0.05; done
    export DISPLAY=":\$(cat "$work/display")" QT_QPA_PLATFORM=xcb
    "$prog" </dev/null >/dev/null 2>"$work/err.txt"
    kill %1 2>/dev/null
    wait
else
    exec "$prog" -nogui </dev/null >/dev/null 2>"$work/err.txt"
fi
EOF
cat >start.sh <<EOF
#!/bin/sh
tries=0
until [ -S "$socket" ]; do
    tries=\$((tries + 1))
    [ \$tries -gt 400 ] && { echo "vocarta did not start; see $work/err.txt" >&2; exit 1; }
    sleep 0.05
done
# Handing the command over takes milliseconds; a launch that finds no running
# copy would become one and never return, so it is given a limit.
[ "\$1" = idle ] || timeout 30 "$prog" -record wav -s 44100 -m 2 -b 16
EOF
chmod +x launch.sh start.sh

device() { [ "$1" = monitor ] && echo nul.monitor || echo "$1"; }
measure() {  # OUTPUT MODE WHAT
    rm -f "$socket"
    /usr/bin/python3 "$lib/cpu-window.py" --settle 5 --window "$window" --then "./start.sh $3" \
        "$1" -- ./launch.sh "$2" >/dev/null 2>"$1.err" || {
        echo "failed: $2 $3" >&2; cat "$1.err" "$work/err.txt" >&2; exit 1; }
}
r=1
while [ $r -le "$runs" ]; do
    for m in $modes; do
        "$defaults" write Settings/RecordDevice sine >/dev/null
        measure "c.$m.idle.$r" "$m" idle
        for s in $sources; do
            "$defaults" write Settings/RecordDevice "$(device "$s")" >/dev/null
            measure "c.$m.$s.$r" "$m" record
        done
    done
    r=$((r + 1))
done
ls rec | grep -q "Untitled" || { echo "no recording was made; see $work/err.txt" >&2; exit 1; }

echo "$runs interleaved rounds, each stretch measured over $window s;"
echo "recording 44.1 kHz stereo 16-bit WAV."
for m in $modes; do
    echo
    echo "### $m"
    echo
    set -- "idle=idle"
    for s in $sources; do set -- "$@" "recording from $s=$s"; done
    for s in $sources; do set -- "$@" --threads "$s"; done
    /usr/bin/python3 "$lib/summarise-runs.py" . "$m" "$@" --memory vocarta
done
