#!/bin/sh
# Installs the Debian packages Vocarta needs to build, run and test.
# Does nothing when every package is already present.
set -eu

BUILD_PKGS="cmake g++ make pkg-config qt6-base-dev qt6-qpa-plugins libpulse-dev libzip-dev
libsndfile1-dev libflac-dev libmp3lame0 libmpg123-dev libgsm1-dev libsoxr-dev libsoundtouch-dev
libpugixml-dev libssl-dev libgtest-dev libgmock-dev libbenchmark-dev libxcb1-dev
libx11-dev libsystemd-dev python3 librsvg2-bin dpkg-dev librubberband-dev"
# Real peers the tests drive: a sound server, an X server, decoders, network servers,
# a systemd user manager and cron for schedules (faketime moves cron's clock), and
# GLib's launcher for the autostart entry; the Debian package's checkers and the
# bash completion its test drives. The unit tests are built with clang and its
# sanitizer runtimes, which also build the fuzz targets.
TEST_PKGS="clang-format clang libclang-rt-dev pulseaudio pulseaudio-utils xvfb xdotool x11-utils xauth trayer sox
libsox-fmt-all flac lame mpg123 python3 python3-pyftpdlib python3-openssl python3-aiosmtpd
imagemagick openssl curl dbus-daemon python3-dbus python3-gi systemd cron faketime libglib2.0-bin
vsftpd dnsmasq-base unzip
desktop-file-utils appstream lintian man-db bash-completion file"
# The fuzz targets: clang with its libFuzzer and sanitizer runtimes.
FUZZ_PKGS="clang libclang-rt-dev"

want="$BUILD_PKGS"
[ "${1:-}" = "--with-tests" ] && want="$BUILD_PKGS $TEST_PKGS"
[ "${1:-}" = "--with-fuzz" ] && want="$BUILD_PKGS $FUZZ_PKGS"

missing=""
for p in $want; do
    status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
    case "$status" in
        "install ok installed") ;;
        *) missing="$missing $p" ;;
    esac
done
[ -z "$missing" ] && exit 0

echo "Installing:$missing"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
# shellcheck disable=SC2086
$SUDO apt-get install -y -qq --no-install-recommends $missing
