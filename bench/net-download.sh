#!/bin/sh
# Download speed of Vocarta's HTTP client against curl's, in the same run, from
# the same local server (tests/support/net_test_server.py: sendfile for plain
# HTTP, 1 MiB writes over TLS 1.3), once over plain TCP and once over TLS:
#   Vocarta   bench_net_download --get URL   (the body counted and dropped)
#   curl      curl -s -o /dev/null URL
# Each client fetches a MEGABYTES file (default 200) ROUNDS times (default 5),
# the two clients taking turns; the table gives the median throughput and the
# median CPU time of the client alone, and Vocarta's share of curl's throughput.
#   bench/net-download.sh BUILD_FOLDER [MEGABYTES] [ROUNDS]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [MEGABYTES] [ROUNDS]}" && pwd)
megabytes=${2:-200}
rounds=${3:-5}
here=$(cd "$(dirname "$0")" && pwd)
support=$here/../tests/support
prog=$build/bench/bench_net_download
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_net_download" >&2; exit 1; }
for tool in curl openssl /usr/bin/python3; do
    command -v "$tool" >/dev/null || { echo "$tool is missing (Debian: curl openssl python3)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-net-bench.XXXXXX")
servers=""
cleanup() {
    for pid in $servers; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

/usr/bin/python3 "$support/make_test_certs.py" "$work/certs" >/dev/null
mkdir "$work/files"
# Random bytes, so that nothing on the way can make them smaller.
head -c "${megabytes}M" /dev/zero |
    openssl enc -aes-128-ctr -pass pass:vocarta -nosalt -pbkdf2 >"$work/files/data"

# Starts a server (not in a subshell, so that cleanup knows its process) and
# sets $port once it listens.
start_server() {
    out=$1
    shift
    /usr/bin/python3 "$support/net_test_server.py" http --root "$work/files" "$@" >"$out" 2>&1 &
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
# The client's own home, so its log lands in the scratch folder.
export HOME=$work/home XDG_DATA_HOME=$work/home/.local/share XDG_CONFIG_HOME=$work/home/.config

plain_url=http://127.0.0.1:$plain_port/files/data
tls_url=https://localhost:$tls_port/files/data
run() {  # client mode -> appends "WALL CPU" to $work/<client>-<mode>
    client=$1
    mode=$2
    url=$plain_url
    [ "$mode" = tls ] && url=$tls_url
    if [ "$client" = curl ]; then
        set -- curl -s -f --cacert "$work/certs/ca.pem" -o /dev/null "$url"
    else
        set -- "$prog" --get "$url"
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
print(f"{megabytes} MB, median of {rounds} rounds")
print("| connection | Vocarta MB/s | curl MB/s | Vocarta / curl | Vocarta CPU s | curl CPU s |")
print("|---|---|---|---|---|---|")
for mode, label in (("plain", "plain TCP"), ("tls", "TLS 1.3")):
    ours, theirs = figures("vocarta-" + mode), figures("curl-" + mode)
    print(f"| {label} | {ours[0]:.0f} | {theirs[0]:.0f} | {ours[0] / theirs[0]:.2f} | "
          f"{ours[1]:.2f} | {theirs[1]:.2f} |")
PY
