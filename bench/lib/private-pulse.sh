# Sourced by the benchmark scripts: a private home and a private PulseAudio
# daemon in the folder $work, so that a run never touches the user's own.
#   start_private_pulse   exports HOME, the XDG folders and PULSE_SERVER, starts
#                         the daemon (its pid in $daemon) and waits until it answers.

start_private_pulse() {
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
}
