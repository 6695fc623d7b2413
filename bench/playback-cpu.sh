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
export HOME="$work" XDG_CONFIG_HOME="$work/.config" XDG_DATA_HOME="$work/.data" \
    XDG_CACHE_HOME="$work/.cache" XDG_RUNTIME_DIR="$work/runtime" \
    PULSE_SERVER="unix:$work/native"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"

pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no --realtime=no \
    --high-priority=no --no-cpu-limit=yes --log-target="file:$work/pulse.log" \
    -L "module-native-protocol-unix auth-anonymous=1 socket=$work/native" &
daemon=$!
tries=0
until pactl info >/dev/null 2>&1; do
    tries=$((tries + 1))
    [ $tries -gt 100 ] && { echo "pulseaudio did not start; see $work/pulse.log" >&2; exit 1; }
    sleep 0.1
done
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
