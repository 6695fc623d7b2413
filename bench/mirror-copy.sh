#!/bin/sh
# The mirror-folder copy of a 1 GiB recording (bench_transmit_queue
# --mirror-copy: unnamed file in the folder, copy_file_range, fsync, link)
# against cp on the same file and file system, in the same run; and against
# cp followed by sync of the copy, since the mirror copy reaches the disk before
# it is named. Best of three runs each, the file read from the page cache.
#   bench/mirror-copy.sh BUILD_FOLDER [SIZE_MIB]
set -eu
build=$(cd "${1:?usage: $0 BUILD_FOLDER [SIZE_MIB]}" && pwd)
size=${2:-1024}
prog=$build/bench/bench_transmit_queue
[ -x "$prog" ] || { echo "$prog is missing: build the target bench_transmit_queue" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/vocarta-mirror-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/mirror" "$work/cp"
# Random bytes: no holes for cp to skip, nothing for a file system to compress.
head -c "${size}M" /dev/urandom > "$work/take.wav"
echo "input: $(stat -c %s "$work/take.wav") bytes on $(df -T "$work" | awk 'NR == 2 { print $2 }')"

now() { date +%s.%N; }
elapsed() { awk "BEGIN { printf \"%.3f\", $2 - $1 }"; }
best() { printf '%s\n' "$@" | sort -g | head -n 1; }
vocarta="" cponly="" cpsync=""
for run in 1 2 3; do
    cat "$work/take.wav" >/dev/null
    rm -f "$work/mirror/take.wav" "$work/cp/take.wav"
    sync
    vocarta="$vocarta $("$prog" --mirror-copy "$work/take.wav" "$work/mirror")"
    cmp -s "$work/take.wav" "$work/mirror/take.wav" || { echo "the mirror copy differs" >&2; exit 1; }
    sync
    t0=$(now); cp "$work/take.wav" "$work/cp/take.wav"; t1=$(now)
    cponly="$cponly $(elapsed "$t0" "$t1")"
    rm -f "$work/cp/take.wav"
    sync
    t0=$(now); cp "$work/take.wav" "$work/cp/take.wav"; sync "$work/cp/take.wav"; t1=$(now)
    cpsync="$cpsync $(elapsed "$t0" "$t1")"
done
v=$(best $vocarta) c=$(best $cponly) s=$(best $cpsync)
mib() { awk "BEGIN { printf \"%.0f\", $size / $1 }"; }
echo "mirror copy (fsync'ed): $v s, $(mib "$v") MiB/s (runs:$vocarta)"
echo "cp:                     $c s, $(mib "$c") MiB/s (runs:$cponly)"
echo "cp + sync of the copy:  $s s, $(mib "$s") MiB/s (runs:$cpsync)"
echo "ratio to cp: $(awk "BEGIN { printf \"%.2f\", $c / $v }"), to cp + sync: $(awk "BEGIN { printf \"%.2f\", $s / $v }")"
