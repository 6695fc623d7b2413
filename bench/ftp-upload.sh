#!/bin/sh
# Upload speed of Vocarta's FTP client against curl's, in the same run, to the
# same local pyftpdlib server (tests/support/ftp_test_server.py), once in clear
# and once over explicit TLS with protected data:
#   Vocarta   bench_ftp_upload --send SERVER USER PASSWORD FILE [tls]
#   curl      curl -s -T FILE ftp://SERVER/ [--ssl-reqd]
# Each client uploads a MEGABYTES file (default 200) ROUNDS times (default 5),
# the two taking turns; the table gives the median throughput and the median
# CPU time of the client alone, and Vocarta's share of curl's throughput.
#   bench/ftp-upload.sh BUILD_FOLDER [MEGABYTES] [ROUNDS]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [MEGABYTES] [ROUNDS]}" && pwd)
megabytes=${2:-200}
rounds=${3:-5}
here=$(cd "$(dirname "$0")" && pwd)
support=$here/../tests/support
prog=$build/bench/bench_ftp_upload
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_ftp_upload" >&2; exit 1; }
for tool in curl openssl /usr/bin/python3; do
    command -v "$tool" >/dev/null || { echo "$tool is missing (Debian: curl openssl python3)" >&2; exit 1; }
done
/usr/bin/python3 -c "import pyftpdlib, OpenSSL" 2>/dev/null ||
    { echo "pyftpdlib is missing (Debian: python3-pyftpdlib python3-openssl)" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-ftp-bench.XXXXXX")
servers=""
cleanup() {
    for pid in $servers; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

/usr/bin/python3 "$support/make_test_certs.py" "$work/certs" >/dev/null
mkdir "$work/plain-root" "$work/tls-root"
# Random bytes, so that nothing on the way can make them smaller.
head -c "${megabytes}M" /dev/zero |
    openssl enc -aes-128-ctr -pass pass:vocarta -nosalt -pbkdf2 >"$work/data"

# Starts a server (not in a subshell, so that cleanup knows its process) and
# sets $port once it listens.
start_server() {
    out=$1
    shift
    /usr/bin/python3 "$support/ftp_test_server.py" "$@" >"$out" 2>&1 &
    servers="$servers $!"
    for _ in $(seq 100); do
        port=$(sed -n 's/^PORT //p' "$out")
        [ -n "$port" ] && return
        sleep 0.1
    done
    echo "the FTP server did not start: $(cat "$out")" >&2
    exit 1
}
start_server "$work/plain.out" --root "$work/plain-root"
plain_port=$port
start_server "$work/tls.out" --root "$work/tls-root" --tls explicit --tls-required \
    --cert "$work/certs/good.pem" --key "$work/certs/good.key"
tls_port=$port
export SSL_CERT_FILE=$work/certs/ca.pem
# The client's own home, so its log and resume list land in the scratch folder.
export HOME=$work/home XDG_DATA_HOME=$work/home/.local/share XDG_CONFIG_HOME=$work/home/.config

run() {  # client mode -> appends "WALL CPU" to $work/<client>-<mode>
    client=$1
    mode=$2
    if [ "$mode" = tls ]; then
        server=localhost:$tls_port
        [ "$client" = curl ] && set -- curl -s -S -f --ssl-reqd --cacert "$work/certs/ca.pem" \
            --user vocarta:secret -T "$work/data" "ftp://$server/"
        [ "$client" = vocarta ] && set -- "$prog" --send "$server" vocarta secret "$work/data" tls
    else
        server=127.0.0.1:$plain_port
        [ "$client" = curl ] && set -- curl -s -S -f --user vocarta:secret -T "$work/data" \
            "ftp://$server/"
        [ "$client" = vocarta ] && set -- "$prog" --send "$server" vocarta secret "$work/data"
    fi
    /usr/bin/python3 "$here/lib/timed.py" "$@" >>"$work/$client-$mode"
}
for round in $(seq "$rounds"); do
    for mode in plain tls; do
        if [ $((round % 2)) = 1 ]; then run vocarta "$mode"; run curl "$mode"
        else run curl "$mode"; run vocarta "$mode"; fi
    done
done
cmp "$work/data" "$work/plain-root/data" && cmp "$work/data" "$work/tls-root/data" ||
    { echo "an uploaded copy differs from the file" >&2; exit 1; }

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
for mode, label in (("plain", "plain TCP"), ("tls", "explicit TLS")):
    ours, theirs = figures("vocarta-" + mode), figures("curl-" + mode)
    print(f"| {label} | {ours[0]:.0f} | {theirs[0]:.0f} | {ours[0] / theirs[0]:.2f} | "
          f"{ours[1]:.2f} | {theirs[1]:.2f} |")
PY
