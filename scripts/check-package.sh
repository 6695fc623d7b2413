#!/bin/sh
# Builds the Debian package from an existing build folder and checks what it
# installs the way a distribution would: the desktop entries, the AppStream
# metainfo, lintian (no errors), and both manual pages rendered.
#
#   scripts/check-package.sh [BUILD_DIR [OUT_DIR]]
#
# Only the programs and the installed data are built (no tests, no benchmarks);
# the package is made in OUT_DIR (default BUILD_DIR/package) and its path is the
# last line printed.
set -eu

build=${1:-build}
out=${2:-$build/package}
jobs=${JOBS:-2}

for tool in cpack dpkg-deb dpkg-shlibdeps desktop-file-validate appstreamcli lintian man; do
    command -v "$tool" >/dev/null || {
        echo "check-package: $tool is missing (scripts/install-deps.sh --with-tests)" >&2
        exit 1
    }
done

cmake --build "$build" -j"$jobs" --target vocarta vocarta-defaults desktop_data package_docs
mkdir -p "$out"
out=$(cd "$out" && pwd)
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$out" >"$out/cpack.log" 2>&1 || {
    cat "$out/cpack.log" >&2
    exit 1
}
deb=$(ls "$out"/vocarta_*.deb)
echo "check-package: built $deb"

tree="$out/tree"
rm -rf "$tree"
dpkg-deb -x "$deb" "$tree"
desktop-file-validate "$tree"/usr/share/applications/*.desktop
appstreamcli validate --no-net "$tree"/usr/share/metainfo/com.vocarta.SoundRecorder.metainfo.xml

# Errors fail the check; warnings are shown for the record.
lintian --tag-display-limit 0 "$deb" >"$out/lintian.log" 2>&1 || true
cat "$out/lintian.log"
if grep -q '^E: ' "$out/lintian.log"; then
    echo "check-package: lintian found errors" >&2
    exit 1
fi

for page in vocarta vocarta-defaults; do
    file="$tree/usr/share/man/man1/$page.1.gz"
    warnings=$(MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings -l "$file" 2>&1 >/dev/null)
    if [ -n "$warnings" ]; then
        echo "check-package: $page.1: $warnings" >&2
        exit 1
    fi
    MANWIDTH=80 LC_ALL=C.UTF-8 man -l "$file" | grep -q "^NAME" || {
        echo "check-package: $page.1 does not render" >&2
        exit 1
    }
done
echo "check-package: all checks passed"
echo "$deb"
