#!/bin/sh
# Upload speed of Vocarta's FTP client against curl's, in the same run, to the
# same local servers: pyftpdlib in clear (tests/support/ftp_test_server.py) and
# vsftpd with TLS required on control and data connections and TLS session
# reuse (tests/support/vsftpd_server.py, which needs root; without root the TLS
# row is left out). (curl starts a data connection's TLS handshake before the
# transfer command, which pyftpdlib resets; vsftpd takes either order.)
#   Vocarta   bench_ftp_upload --send SERVER USER PASSWORD FILE FOLDER [tls]
#   curl      curl -s -T FILE ftp://SERVER/FOLDER/ [--ssl-reqd]
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
/usr/bin/python3 -c "import pyftpdlib" 2>/dev/null ||
    { echo "pyftpdlib is missing (Debian: python3-pyftpdlib)" >&2; exit 1; }
modes=plain
if [ "$(id -u)" = 0 ] && [ -x /usr/sbin/vsftpd ]; then
    modes="plain tls"
else
    echo "not root or no vsftpd (Debian: vsftpd): the TLS row is left out" >&2
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-ftp-bench.XXXXXX")
chmod 755 "$work"
servers=""
cleanup() {
    for pid in $servers; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

/usr/bin/python3 "$support/make_test_certs.py" "$work/certs" >/dev/null
chmod 755 "$work/certs" && chmod 644 "$work/certs"/*
mkdir "$work/plain-root" "$work/vsftpd"
# Random bytes, so that nothing on the way can make them smaller.
head -c "${megabytes}M" /dev/zero |
    openssl enc -aes-128-ctr -pass pass:vocarta -nosalt -pbkdf2 >"$work/data"

# Starts a server (not in a subshell, so that cleanup knows its process) and
# sets $port once it listens.
start_server() {
    out=$1
    shift
    /usr/bin/python3 "$@" >"$out" 2>&1 &
    servers="$servers $!"
    for _ in $(seq 100); do
        port=$(sed -n 's/^PORT //p' "$out")
        [ -n "$port" ] && return
        sleep 0.1
    done
    echo "the FTP server did not start: $(cat "$out")" >&2
    exit 1
}
start_server "$work/plain.out" "$support/ftp_test_server.py" --root "$work/plain-root"
plain_port=$port
case $modes in *tls*)
    start_server "$work/tls.out" "$support/vsftpd_server.py" --folder "$work/vsftpd" \
        --cert "$work/certs/good.pem" --key "$work/certs/good.key"
    tls_port=$port ;;
esac
export SSL_CERT_FILE=$work/certs/ca.pem
# The client's own home, so its log and resume list land in the scratch folder.
export HOME=$work/home XDG_DATA_HOME=$work/home/.local/share XDG_CONFIG_HOME=$work/home/.config

run() {  # client mode -> appends "WALL CPU" to $work/<client>-<mode>
    client=$1
    mode=$2
    if [ "$mode" = tls ]; then
        server=localhost:$tls_port
        [ "$client" = curl ] && set -- curl -s -S -f --ssl-reqd --cacert "$work/certs/ca.pem" \
            --user anonymous:bench -T "$work/data" "ftp://$server/upload/"
        [ "$client" = vocarta ] &&
            set -- "$prog" --send "$server" anonymous bench "$work/data" /upload tls
    else
        server=127.0.0.1:$plain_port
        [ "$client" = curl ] && set -- curl -s -S -f --user vocarta:secret -T "$work/data" \
            "ftp://$server/"
        [ "$client" = vocarta ] && set -- "$prog" --send "$server" vocarta secret "$work/data" /
    fi
    /usr/bin/python3 "$here/lib/timed.py" "$@" >>"$work/$client-$mode"
}
for round in $(seq "$rounds"); do
    for mode in $modes; do
        if [ $((round % 2)) = 1 ]; then run vocarta "$mode"; run curl "$mode"
        else run curl "$mode"; run vocarta "$mode"; fi
    done
done
cmp "$work/data" "$work/plain-root/data" ||
    { echo "the uploaded copy differs from the file" >&2; exit 1; }
case $modes in *tls*) cmp "$work/data" "$work/vsftpd/root/upload/data" ||
    { echo "the uploaded copy differs from the file" >&2; exit 1; } ;;
esac

/usr/bin/python3 - "$work" "$megabytes" "$rounds" "$modes" <<'PY'
import statistics, sys
work, megabytes, rounds, modes = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4]
def figures(name):
    rows = [tuple(map(float, line.split())) for line in open(f"{work}/{name}")]
    return (statistics.median(megabytes / wall for wall, _ in rows),
            statistics.median(cpu for _, cpu in rows))
print(f"{megabytes} MB, median of {rounds} rounds")
print("| server, connection | Vocarta MB/s | curl MB/s | Vocarta / curl | Vocarta CPU s | curl CPU s |")
print("|---|---|---|---|---|---|")
labels = {"plain": "pyftpdlib, plain TCP", "tls": "vsftpd, TLS (control and data)"}
for mode in modes.split():
    ours, theirs = figures("vocarta-" + mode), figures("curl-" + mode)
    print(f"| {labels[mode]} | {ours[0]:.0f} | {theirs[0]:.0f} | {ours[0] / theirs[0]:.2f} | "
          f"{ours[1]:.2f} | {theirs[1]:.2f} |")
PY
