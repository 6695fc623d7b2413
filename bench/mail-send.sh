#!/bin/sh
# Sending speed of Vocarta's SMTP client against curl's, in the same run, to the
# same local server (tests/support/smtp_test_server.py: aiosmtpd, keeping
# nothing), once over plain TCP and once after STARTTLS:
#   Vocarta   bench_mail_send --send HOST:PORT FILE [--tls]   (composes as it sends)
#   curl      curl -s --mail-from ... --mail-rcpt ... -T MESSAGE smtp://HOST:PORT
#             (MESSAGE: the same message, composed beforehand by Vocarta)
# The attachment is MEGABYTES (default 50) of random bytes; each client sends it
# ROUNDS times (default 3), the two taking turns; the table gives the median
# throughput in attachment megabytes per second, the median CPU time of the
# client alone, and Vocarta's share of curl's throughput.
#   bench/mail-send.sh BUILD_FOLDER [MEGABYTES] [ROUNDS]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [MEGABYTES] [ROUNDS]}" && pwd)
megabytes=${2:-50}
rounds=${3:-3}
here=$(cd "$(dirname "$0")" && pwd)
support=$here/../tests/support
prog=$build/bench/bench_mail_send
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_mail_send" >&2; exit 1; }
for tool in curl openssl /usr/bin/python3; do
    command -v "$tool" >/dev/null || { echo "$tool is missing (Debian: curl openssl python3)" >&2; exit 1; }
done
/usr/bin/python3 -c "import aiosmtpd" 2>/dev/null ||
    { echo "aiosmtpd is missing (Debian: python3-aiosmtpd)" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-mail-bench.XXXXXX")
servers=""
cleanup() {
    for pid in $servers; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

/usr/bin/python3 "$support/make_test_certs.py" "$work/certs" >/dev/null
# Random bytes, as a compressed recording is close to.
head -c "${megabytes}M" /dev/zero |
    openssl enc -aes-128-ctr -pass pass:vocarta -nosalt -pbkdf2 >"$work/take.wav"
export HOME=$work/home XDG_DATA_HOME=$work/home/.local/share XDG_CONFIG_HOME=$work/home/.config
"$prog" --compose "$work/take.wav" "$work/message.eml"

# Starts a server (not in a subshell, so that cleanup knows its process) and
# sets $port once it listens.
start_server() {
    out=$1
    shift
    /usr/bin/python3 "$support/smtp_test_server.py" real --store "$work" --discard "$@" >"$out" 2>&1 &
    servers="$servers $!"
    for _ in $(seq 100); do
        port=$(sed -n 's/^PORT //p' "$out")
        [ -n "$port" ] && return
        sleep 0.1
    done
    echo "the test server did not start: $(cat "$out")" >&2
    exit 1
}
start_server "$work/plain.out"
plain_port=$port
start_server "$work/tls.out" --tls "$work/certs/good.pem" "$work/certs/good.key"
tls_port=$port
export SSL_CERT_FILE=$work/certs/ca.pem

run() {  # client mode -> appends "WALL CPU" to $work/<client>-<mode>
    client=$1
    mode=$2
    if [ "$client" = curl ]; then
        if [ "$mode" = tls ]; then
            set -- curl -s -f --ssl-reqd --cacert "$work/certs/ca.pem" "smtp://localhost:$tls_port"
        else
            set -- curl -s -f "smtp://127.0.0.1:$plain_port"
        fi
        set -- "$@" --mail-from me@bench.test --mail-rcpt rcpt@bench.test -T "$work/message.eml"
    elif [ "$mode" = tls ]; then
        set -- "$prog" --send "localhost:$tls_port" "$work/take.wav" --tls
    else
        set -- "$prog" --send "127.0.0.1:$plain_port" "$work/take.wav"
    fi
    /usr/bin/python3 "$here/lib/timed.py" "$@" >>"$work/$client-$mode"
}
for round in $(seq "$rounds"); do
    for mode in plain tls; do
        if [ $((round % 2)) = 1 ]; then run vocarta "$mode"; run curl "$mode"
        else run curl "$mode"; run vocarta "$mode"; fi
    done
done

/usr/bin/python3 - "$work" "$megabytes" "$rounds" <<'PY'
import statistics, sys
work, megabytes, rounds = sys.argv[1], int(sys.argv[2]), sys.argv[3]
def figures(name):
    rows = [tuple(map(float, line.split())) for line in open(f"{work}/{name}")]
    return (statistics.median(megabytes / wall for wall, _ in rows),
            statistics.median(cpu for _, cpu in rows))
print(f"{megabytes} MB attachment, median of {rounds} rounds")
print("| connection | Vocarta MB/s | curl MB/s | Vocarta / curl | Vocarta CPU s | curl CPU s |")
print("|---|---|---|---|---|---|")
for mode, label in (("plain", "plain TCP"), ("tls", "STARTTLS, TLS 1.3")):
    ours, theirs = figures("vocarta-" + mode), figures("curl-" + mode)
    print(f"| {label} | {ours[0]:.1f} | {theirs[0]:.1f} | {ours[0] / theirs[0]:.2f} | "
          f"{ours[1]:.2f} | {theirs[1]:.2f} |")
PY
